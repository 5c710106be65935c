#pragma once

#include "kit/base/StopSource.h"
#include "kit/desktop/AlertCenter.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

namespace tw {

class AppState;
class Preferences;

// The three steps of the welcome window. Its only lasting effects are the sources added from it and
// onboardingCompleted, which is set when the window goes away however it was closed.
class OnboardingController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The welcome window's controller comes from the application")
    Q_PROPERTY(int step READ step NOTIFY stepChanged)
    Q_PROPERTY(QString sourcesAdded READ sourcesAdded NOTIFY sourcesChanged)
    // "on", "off" or "unknown" (not read yet)
    Q_PROPERTY(QString notifications READ notifications NOTIFY notificationsChanged)

public:
    using Authorization = std::function<QCoro::Task<AlertCenter::Authorization>()>;

    OnboardingController(AppState *state,
                         Preferences *preferences,
                         Authorization authorization,
                         QObject *parent = nullptr);
    ~OnboardingController() override;

    int step() const { return m_step; }
    // Empty while there is no source.
    QString sourcesAdded() const;
    QString notifications() const;

    Q_INVOKABLE void next();
    Q_INVOKABLE void back();
    Q_INVOKABLE void addSource() { Q_EMIT addSourceRequested(); }
    // A notification server on the bus is the permission: reading it again is all there is to ask.
    Q_INVOKABLE void enableNotifications();
    // The window appeared: start at the first step and read the permission.
    void opened();
    // The window went away, by any means.
    void closed();

Q_SIGNALS:
    void stepChanged();
    void sourcesChanged();
    void notificationsChanged();
    void addSourceRequested();

private:
    QCoro::Task<> readPermission();

    AppState *m_state;
    Preferences *m_preferences;
    Authorization m_authorization;
    StopToken m_stop = makeStopToken();
    int m_step = 0;
    std::optional<AlertCenter::Authorization> m_permission;
};

} // namespace tw
