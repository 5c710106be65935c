#include "RecentEvent.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QString counted(qint64 count, const QString &unit)
{
    return QString::number(count) + u' ' + unit + (count == 1 ? QString() : u"s"_s);
}

} // namespace

QString lengthText(qint64 seconds)
{
    const qint64 minutes = std::max<qint64>(seconds, 0) / 60;
    if (minutes < 1)
        return u"less than a minute"_s;
    if (minutes < 60)
        return counted(minutes, u"minute"_s);
    const qint64 hours = minutes / 60;
    if (hours < 24)
        return counted(hours, u"hour"_s) + (minutes % 60 ? u' ' + counted(minutes % 60, u"minute"_s) : QString());
    return counted(hours / 24, u"day"_s) + (hours % 24 ? u' ' + counted(hours % 24, u"hour"_s) : QString());
}

QString toText(RecentEvent::Kind kind)
{
    switch (kind) {
    case RecentEvent::Kind::Down:
        return u"down"_s;
    case RecentEvent::Kind::Recovered:
        return u"recovered"_s;
    case RecentEvent::Kind::Snoozed:
        return u"snoozed"_s;
    case RecentEvent::Kind::SnoozeEnded:
        return u"snoozeEnded"_s;
    }
    return {};
}

std::optional<RecentEvent::Kind> recentEventKindFromString(QStringView text)
{
    for (const auto kind : {RecentEvent::Kind::Down,
                            RecentEvent::Kind::Recovered,
                            RecentEvent::Kind::Snoozed,
                            RecentEvent::Kind::SnoozeEnded}) {
        if (toText(kind) == text)
            return kind;
    }
    return std::nullopt;
}

RecentEvent RecentEvent::ofAlert(const AlertEvent &event, const QDateTime &now)
{
    if (event.kind == AlertEvent::Kind::Down)
        return {event.downSince.value_or(now),
                Kind::Down,
                event.title,
                event.detail.value_or(QString()),
                event.sourceID};
    const QString detail = event.downSince ? u"Back after "_s + lengthText(event.downSince->secsTo(now)) : QString();
    return {now, Kind::Recovered, event.title, detail, event.sourceID};
}

RecentEvent RecentEvent::ofSnooze(const Snooze &snooze, const QString &sourceName, const QDateTime &now)
{
    const QString who = snooze.sourceID ? sourceName : u"All notifications"_s;
    const QString length = snooze.until ? u"for "_s + lengthText(now.secsTo(*snooze.until)) : u"until it recovers"_s;
    return {now, Kind::Snoozed, who + u" snoozed "_s + length, {}, snooze.sourceID.value_or(QUuid())};
}

RecentEvent
RecentEvent::ofSnoozeEnd(const std::optional<QUuid> &sourceID, const QString &sourceName, const QDateTime &now)
{
    const QString title =
        sourceID ? u"Notifications for "_s + sourceName + u" resumed"_s : u"All notifications resumed"_s;
    return {now, Kind::SnoozeEnded, title, {}, sourceID.value_or(QUuid())};
}

} // namespace tw
