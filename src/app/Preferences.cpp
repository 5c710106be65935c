#include "Preferences.h"

#include "app/Accent.h"
#include "kit/model/QuietHours.h"
#include "kit/model/StoredSetting.h"

using namespace Qt::StringLiterals;

namespace tw {

Preferences::Preferences(std::shared_ptr<PreferenceStore> settings, QObject *parent)
    : QObject(parent)
    , m_settings(std::move(settings))
{ }

bool Preferences::flag(const char *key, bool fallback) const
{
    return StoredSetting::boolean(*m_settings, QString::fromLatin1(key)).value_or(fallback);
}

void Preferences::setFlag(const char *key, bool on)
{
    const QString name = QString::fromLatin1(key);
    if (StoredSetting::boolean(*m_settings, name) == on)
        return;
    m_settings->setValue(name, on);
    Q_EMIT changed();
}

bool Preferences::launchAtLogin() const
{
    return flag("launchAtLogin", false);
}
bool Preferences::globalQuiet() const
{
    return flag("globalQuiet", false);
}
bool Preferences::soundAlerts() const
{
    return flag("soundAlerts", true);
}
bool Preferences::notifyOnRecovery() const
{
    return flag("notifyOnRecovery", true);
}
bool Preferences::showSparklines() const
{
    return flag("showSparklines", true);
}
bool Preferences::compactMode() const
{
    return flag("compactMode", false);
}
bool Preferences::onboardingCompleted() const
{
    return flag("onboardingCompleted", false);
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
    setFlag("launchAtLogin", on);
}
void Preferences::setGlobalQuiet(bool on)
{
    setFlag("globalQuiet", on);
}
void Preferences::setSoundAlerts(bool on)
{
    setFlag("soundAlerts", on);
}
void Preferences::setNotifyOnRecovery(bool on)
{
    setFlag("notifyOnRecovery", on);
}
void Preferences::setShowSparklines(bool on)
{
    setFlag("showSparklines", on);
}
void Preferences::setCompactMode(bool on)
{
    setFlag("compactMode", on);
}
void Preferences::setOnboardingCompleted(bool on)
{
    setFlag("onboardingCompleted", on);
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
    return flag("statusShapes", false);
}
void Preferences::setStatusShapes(bool on)
{
    setFlag("statusShapes", on);
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
