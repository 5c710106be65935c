#include "PopoverText.h"

using namespace Qt::StringLiterals;

namespace tw::PopoverText {

QString headline(OverallStatus status, qsizetype sourceCount)
{
    switch (status) {
    case OverallStatus::Up:
        return u"All systems up"_s;
    case OverallStatus::Degraded:
        return u"Some issues"_s;
    case OverallStatus::Down:
        return u"Systems down"_s;
    case OverallStatus::Paused:
        return u"Monitoring paused"_s;
    case OverallStatus::Unknown:
        break;
    }
    return sourceCount == 0 ? u"No sources yet"_s : u"No data yet"_s;
}

QString chipText(OverallStatus status, qsizetype sourceCount)
{
    switch (status) {
    case OverallStatus::Up:
        return u"Healthy"_s;
    case OverallStatus::Degraded:
        return u"Degraded"_s;
    case OverallStatus::Down:
        return u"Incident"_s;
    case OverallStatus::Paused:
        return u"Paused"_s;
    case OverallStatus::Unknown:
        break;
    }
    return sourceCount == 0 ? u"Not configured"_s : u"Waiting for data"_s;
}

QString relativeTime(const QDateTime &date, const QDateTime &now)
{
    // Whole seconds, truncated towards zero.
    const qint64 s = date.msecsTo(now) / 1000;
    if (s < 5)
        return u"just now"_s;
    if (s < 60)
        return QString::number(s) + u"s ago"_s;
    if (s < 3600)
        return QString::number(s / 60) + u"m ago"_s;
    if (s >= 86400)
        return QString::number(s / 86400) + u"d ago"_s;
    return QString::number(s / 3600) + u"h ago"_s;
}

QString ageText(const QDateTime &date, const QDateTime &now)
{
    const qint64 s = std::max<qint64>(0, date.msecsTo(now) / 1000);
    if (s < 60)
        return u"under a minute old"_s;
    if (s < 3600)
        return QString::number(s / 60) + u" min old"_s;
    if (s < 86400)
        return QString::number(s / 3600) + u" h old"_s;
    const qint64 days = s / 86400;
    return QString::number(days) + (days == 1 ? u" day old"_s : u" days old"_s);
}

QString hushBanner(AlertGate::Hush hush)
{
    switch (hush) {
    case AlertGate::Hush::None:
        return {};
    case AlertGate::Hush::Offline:
        return u"You're offline — checks resume when the network is back"_s;
    case AlertGate::Hush::Asleep:
    case AlertGate::Hush::WakingUp:
        return u"Reconnecting — alerts resume once the network has settled"_s;
    }
    return {};
}

QString hushHeadline(AlertGate::Hush hush)
{
    switch (hush) {
    case AlertGate::Hush::None:
        return {};
    case AlertGate::Hush::Offline:
        return u"You're offline"_s;
    case AlertGate::Hush::Asleep:
    case AlertGate::Hush::WakingUp:
        return u"Reconnecting…"_s;
    }
    return {};
}

QString hushChip(AlertGate::Hush hush)
{
    switch (hush) {
    case AlertGate::Hush::None:
        return {};
    case AlertGate::Hush::Offline:
        return u"Offline"_s;
    case AlertGate::Hush::Asleep:
    case AlertGate::Hush::WakingUp:
        return u"Settling"_s;
    }
    return {};
}

} // namespace tw::PopoverText
