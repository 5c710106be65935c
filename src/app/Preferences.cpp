#include "Preferences.h"

#include "app/Accent.h"
#include "app/ViewEngine.h"
#include "kit/model/QuietHours.h"
#include "kit/model/StoredSetting.h"

using namespace Qt::StringLiterals;

namespace tw {

Preferences *Preferences::create(QQmlEngine *engine, QJSEngine *)
{
    auto *views = qobject_cast<ViewEngine *>(engine);
    return views ? ViewEngine::lent(views->preferences()) : nullptr;
}

Preferences::Preferences(std::shared_ptr<PreferenceStore> settings, QObject *parent)
    : QObject(parent)
    , m_settings(std::move(settings))
    , m_widgetLayout(WidgetLayout::load(*m_settings))
{ }

void Preferences::setWidgetLayout(const WidgetLayout &layout)
{
    if (layout == m_widgetLayout)
        return;
    m_widgetLayout = layout;
    m_widgetLayout.save(*m_settings);
    Q_EMIT widgetLayoutChanged();
}

bool Preferences::flag(const StoredSetting::Flag &which) const
{
    return StoredSetting::flag(*m_settings, which);
}

void Preferences::setFlag(const StoredSetting::Flag &which, bool on)
{
    const QString name = QString::fromLatin1(which.key);
    if (StoredSetting::boolean(*m_settings, name) == on)
        return;
    m_settings->setValue(name, on);
    Q_EMIT changed();
}

bool Preferences::launchAtLogin() const
{
    return flag(StoredSetting::launchAtLogin);
}
bool Preferences::globalQuiet() const
{
    return flag(StoredSetting::globalQuiet);
}
bool Preferences::soundAlerts() const
{
    return flag(StoredSetting::soundAlerts);
}
bool Preferences::notifyOnRecovery() const
{
    return flag(StoredSetting::notifyOnRecovery);
}
bool Preferences::showSparklines() const
{
    return flag(StoredSetting::showSparklines);
}
bool Preferences::compactMode() const
{
    return flag(StoredSetting::compactMode);
}
bool Preferences::onboardingCompleted() const
{
    return flag(StoredSetting::onboardingCompleted);
}

QString Preferences::accentHex() const
{
    const QVariant value = m_settings->value(QString::fromLatin1(Accent::settingsKey));
    return value.typeId() == QMetaType::QString ? value.toString() : QString::fromLatin1(Accent::defaultHex);
}

QColor Preferences::accent() const
{
    return Accent::accentColour(accentHex());
}

QColor Preferences::onAccent() const
{
    return Accent::onAccentColour(accentHex());
}

QStringList Preferences::accentPresets() const
{
    return Accent::presets();
}

bool Preferences::isSelectedPreset(const QString &preset) const
{
    return accentHex().compare(preset, Qt::CaseInsensitive) == 0;
}

void Preferences::setLaunchAtLogin(bool on)
{
    setFlag(StoredSetting::launchAtLogin, on);
}
void Preferences::setGlobalQuiet(bool on)
{
    setFlag(StoredSetting::globalQuiet, on);
}
void Preferences::setSoundAlerts(bool on)
{
    setFlag(StoredSetting::soundAlerts, on);
}
void Preferences::setNotifyOnRecovery(bool on)
{
    setFlag(StoredSetting::notifyOnRecovery, on);
}
void Preferences::setShowSparklines(bool on)
{
    setFlag(StoredSetting::showSparklines, on);
}
void Preferences::setCompactMode(bool on)
{
    setFlag(StoredSetting::compactMode, on);
}
void Preferences::setOnboardingCompleted(bool on)
{
    setFlag(StoredSetting::onboardingCompleted, on);
}

void Preferences::setAccentHex(const QString &text)
{
    // Stored keystroke by keystroke, unchecked: text that does not parse shows the default accent.
    if (accentHex() == text && m_settings->contains(QString::fromLatin1(Accent::settingsKey)))
        return;
    m_settings->setValue(QString::fromLatin1(Accent::settingsKey), text);
    Q_EMIT changed();
}

bool Preferences::statusShapes() const
{
    return flag(StoredSetting::statusShapes);
}
void Preferences::setStatusShapes(bool on)
{
    setFlag(StoredSetting::statusShapes, on);
}

bool Preferences::quietHoursEnabled() const
{
    return QuietHours::load(*m_settings).enabled;
}
QString Preferences::quietHoursStart() const
{
    return QuietHours::load(*m_settings).start.toString(u"HH:mm"_s);
}
QString Preferences::quietHoursEnd() const
{
    return QuietHours::load(*m_settings).end.toString(u"HH:mm"_s);
}

void Preferences::setQuietHoursEnabled(bool on)
{
    QuietHours hours = QuietHours::load(*m_settings);
    if (hours.enabled == on && m_settings->contains(QLatin1String(QuietHours::enabledKey)))
        return;
    hours.enabled = on;
    hours.save(*m_settings);
    Q_EMIT changed();
}

bool Preferences::setQuietHoursStart(const QString &text)
{
    const std::optional<QTime> time = QuietHours::parseTime(text);
    if (!time)
        return false;
    QuietHours hours = QuietHours::load(*m_settings);
    hours.start = *time;
    hours.save(*m_settings);
    Q_EMIT changed();
    return true;
}

bool Preferences::setQuietHoursEnd(const QString &text)
{
    const std::optional<QTime> time = QuietHours::parseTime(text);
    if (!time)
        return false;
    QuietHours hours = QuietHours::load(*m_settings);
    hours.end = *time;
    hours.save(*m_settings);
    Q_EMIT changed();
    return true;
}

} // namespace tw
