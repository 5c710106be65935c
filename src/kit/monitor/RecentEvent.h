#pragma once

#include "kit/model/Snooze.h"
#include "kit/monitor/AlertEvent.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace tw {

// One line of the recent events: something that happened to the estate, or to its notifications.
struct RecentEvent
{
    enum class Kind { Down, Recovered, Snoozed, SnoozeEnded };

    QDateTime time;
    Kind kind = Kind::Down;
    QString title; // "NAS is unreachable", "Plex recovered", "NAS snoozed for 1 hour"
    QString detail; // "Back after 12 minutes"; empty when the title says it all
    QUuid sourceID; // null when it concerns every source

    bool operator==(const RecentEvent &) const = default;

    // An outage is logged at the time it began, which for one held while the machine woke up is
    // earlier than now; its end is logged now, with how long it lasted.
    static RecentEvent ofAlert(const AlertEvent &event, const QDateTime &now);
    // "NAS snoozed for 1 hour", "NAS snoozed until it recovers", "All notifications snoozed for 4 hours".
    static RecentEvent ofSnooze(const Snooze &snooze, const QString &sourceName, const QDateTime &now);
    // "Notifications for NAS resumed", "All notifications resumed".
    static RecentEvent
    ofSnoozeEnd(const std::optional<QUuid> &sourceID, const QString &sourceName, const QDateTime &now);
};

QString toText(RecentEvent::Kind kind);
std::optional<RecentEvent::Kind> recentEventKindFromString(QStringView text);

// "less than a minute", "12 minutes", "3 hours 5 minutes", "2 days 4 hours".
QString lengthText(qint64 seconds);

} // namespace tw
