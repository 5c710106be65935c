#pragma once

#include "app/WidgetLayout.h"
#include "kit/model/PreferenceStore.h"
#include "kit/model/StoredSetting.h"

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <memory>
#include <optional>

class QJSEngine;
class QQmlEngine;

namespace tw {

// Every preference of the application, as properties the views bind to. Writes go straight to the
// settings store and notify at once, so a change made in the settings window shows everywhere
// (the accent recolours every open window) without a restart.
class Preferences : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY changed)
    Q_PROPERTY(bool globalQuiet READ globalQuiet WRITE setGlobalQuiet NOTIFY changed)
    Q_PROPERTY(bool soundAlerts READ soundAlerts WRITE setSoundAlerts NOTIFY changed)
    Q_PROPERTY(bool notifyOnRecovery READ notifyOnRecovery WRITE setNotifyOnRecovery NOTIFY changed)
    Q_PROPERTY(bool showSparklines READ showSparklines WRITE setShowSparklines NOTIFY changed)
    Q_PROPERTY(bool compactMode READ compactMode WRITE setCompactMode NOTIFY changed)
    Q_PROPERTY(QString accentHex READ accentHex WRITE setAccentHex NOTIFY changed)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY changed)
    Q_PROPERTY(QStringList accentPresets READ accentPresets CONSTANT)
    Q_PROPERTY(bool onboardingCompleted READ onboardingCompleted WRITE setOnboardingCompleted NOTIFY changed)
    Q_PROPERTY(bool statusShapes READ statusShapes WRITE setStatusShapes NOTIFY changed)
    Q_PROPERTY(bool quietHoursEnabled READ quietHoursEnabled WRITE setQuietHoursEnabled NOTIFY changed)
    Q_PROPERTY(QString quietHoursStart READ quietHoursStart NOTIFY changed)
    Q_PROPERTY(QString quietHoursEnd READ quietHoursEnd NOTIFY changed)

public:
    explicit Preferences(std::shared_ptr<PreferenceStore> settings, QObject *parent = nullptr);
    // The views' preferences are the ones their engine was made with.
    static Preferences *create(QQmlEngine *engine, QJSEngine *);

    bool launchAtLogin() const;
    bool globalQuiet() const;
    bool soundAlerts() const;
    bool notifyOnRecovery() const;
    bool showSparklines() const;
    bool compactMode() const;
    QString accentHex() const;
    QColor accent() const;
    QColor onAccent() const;
    QStringList accentPresets() const;
    bool onboardingCompleted() const;
    bool statusShapes() const;
    bool quietHoursEnabled() const;
    QString quietHoursStart() const; // "02:00"
    QString quietHoursEnd() const;

    void setLaunchAtLogin(bool on);
    void setGlobalQuiet(bool on);
    void setSoundAlerts(bool on);
    void setNotifyOnRecovery(bool on);
    void setShowSparklines(bool on);
    void setCompactMode(bool on);
    void setAccentHex(const QString &text);
    void setOnboardingCompleted(bool on);
    void setStatusShapes(bool on);
    void setQuietHoursEnabled(bool on);
    // Stores a time typed as "2:00" or "02:00" and returns true; anything else changes nothing.
    Q_INVOKABLE bool setQuietHoursStart(const QString &text);
    Q_INVOKABLE bool setQuietHoursEnd(const QString &text);

    // True when the swatch's text is the stored accent, letter case aside.
    Q_INVOKABLE bool isSelectedPreset(const QString &preset) const;

    PreferenceStore &settings() { return *m_settings; }

    // The popover's order, hidden widgets and collapsed groups; saved as it changes.
    const WidgetLayout &widgetLayout() const { return m_widgetLayout; }
    void setWidgetLayout(const WidgetLayout &layout);

Q_SIGNALS:
    void changed();
    // Apart from `changed`: a drag in the popover must not re-evaluate every binding to a preference.
    void widgetLayoutChanged();

private:
    bool flag(const StoredSetting::Flag &which) const;
    void setFlag(const StoredSetting::Flag &which, bool on);

    std::shared_ptr<PreferenceStore> m_settings;
    WidgetLayout m_widgetLayout;
};

} // namespace tw
