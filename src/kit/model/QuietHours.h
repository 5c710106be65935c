#pragma once

#include "kit/model/PreferenceStore.h"

#include <QDateTime>
#include <QTime>

#include <optional>

namespace tw {

// One daily window of local time in which no notification is posted, such as 02:00 to 04:00 while
// backups run. The window may cross midnight; a start equal to its end is an empty window.
struct QuietHours
{
    bool enabled = false;
    QTime start{2, 0};
    QTime end{4, 0};

    bool operator==(const QuietHours &) const = default;

    // Whether the moment falls inside the window, read in the local zone.
    bool contains(const QDateTime &moment) const;

    static constexpr auto enabledKey = "quietHoursEnabled";
    static constexpr auto startKey = "quietHoursStart"; // "02:00"
    static constexpr auto endKey = "quietHoursEnd";
    // A time that does not read as "HH:mm" keeps its default.
    static QuietHours load(const PreferenceStore &settings);
    void save(PreferenceStore &settings) const;

    // "02:00" or "2:00" and "23:59" read; anything else is nothing.
    static std::optional<QTime> parseTime(const QString &text);
};

} // namespace tw
