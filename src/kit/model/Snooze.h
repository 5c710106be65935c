#pragma once

#include "kit/model/PreferenceStore.h"

#include <QDateTime>
#include <QJsonValue>
#include <QList>
#include <QUuid>

#include <optional>

namespace tw {

// Notifications withheld for one source, or for all of them, until a time or until the source
// recovers. The source keeps being polled and counted; only what reaches the desktop changes.
struct Snooze
{
    std::optional<QUuid> sourceID; // none: every notification
    std::optional<QDateTime> until; // none: until the source recovers (only with a source)

    bool operator==(const Snooze &) const = default;

    bool isOver(const QDateTime &now) const { return until && *until <= now; }
    bool covers(const QUuid &source) const { return !sourceID || *sourceID == source; }

    QJsonValue toJson() const;
    // Nothing for an entry no version of Tidewatch writes: a snooze of everything with no end, or
    // a time or an id that does not read.
    static std::optional<Snooze> fromJson(const QJsonValue &value);

    // Stored beside the other preferences under this key, as one JSON array of text.
    static constexpr auto settingsKey = "snoozes";
    static QList<Snooze> load(const PreferenceStore &settings);
    static void save(PreferenceStore &settings, const QList<Snooze> &snoozes);

    // "14:30", "Tue 09:15", "it recovers": times in the local zone, with the weekday once the end
    // is not today.
    QString untilText(const QDateTime &now) const;
    // "Snoozed until 14:30"
    QString describe(const QDateTime &now) const { return QStringLiteral("Snoozed until ") + untilText(now); }
};

} // namespace tw
