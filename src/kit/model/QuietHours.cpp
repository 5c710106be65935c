#include "QuietHours.h"

#include "kit/model/StoredSetting.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tw {

bool QuietHours::contains(const QDateTime &moment) const
{
    if (!enabled || start == end)
        return false;
    const QTime time = moment.toLocalTime().time();
    if (start < end)
        return start <= time && time < end;
    return time >= start || time < end; // across midnight
}

std::optional<QTime> QuietHours::parseTime(const QString &text)
{
    static const QRegularExpression pattern(u"^\\s*(\\d{1,2}):(\\d{2})\\s*$"_s);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QTime time(match.captured(1).toInt(), match.captured(2).toInt());
    return time.isValid() ? std::optional(time) : std::nullopt;
}

QuietHours QuietHours::load(const PreferenceStore &settings)
{
    QuietHours hours;
    hours.enabled = StoredSetting::boolean(settings, QLatin1String(enabledKey)).value_or(false);
    if (const auto time = parseTime(settings.value(QLatin1String(startKey)).toString()))
        hours.start = *time;
    if (const auto time = parseTime(settings.value(QLatin1String(endKey)).toString()))
        hours.end = *time;
    return hours;
}

void QuietHours::save(PreferenceStore &settings) const
{
    settings.setValue(QLatin1String(enabledKey), enabled);
    settings.setValue(QLatin1String(startKey), start.toString(u"HH:mm"_s));
    settings.setValue(QLatin1String(endKey), end.toString(u"HH:mm"_s));
}

} // namespace tw
