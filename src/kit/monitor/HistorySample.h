#pragma once

#include "kit/model/ServiceStatus.h"

#include <QDateTime>
#include <QHash>
#include <QList>

#include <optional>

namespace tw {

// What one widget reported at one poll.
struct HistorySample
{
    QDateTime time;
    std::optional<double> latencyMs;
    ServiceStatus status = ServiceStatus::Unknown;

    bool operator==(const HistorySample &) const = default;
};

// The samples of the past week, per widget key, oldest first.
struct PollHistory
{
    QHash<QString, QList<HistorySample>> samples;

    bool operator==(const PollHistory &) const = default;
};

namespace HistoryLimits {
constexpr qint64 maxAgeSeconds = 604800; // seven days
constexpr qsizetype maxSamplesPerKey = 500;
} // namespace HistoryLimits

} // namespace tw
