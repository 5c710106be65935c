#pragma once

#include "kit/model/HostStats.h"

#include <QJsonObject>
#include <QStringList>

#include <optional>

namespace tw {

// The readings past which a host of a Beszel hub reads warn: whole percents of CPU, memory and disk,
// and degrees Celsius for any of its drives. Each is off until set.
struct HostLimits
{
    std::optional<qint64> cpuPct;
    std::optional<qint64> memPct;
    std::optional<qint64> diskPct;
    std::optional<qint64> tempC;

    // What the sheet offers when a limit is turned on.
    static constexpr qint64 suggestedPct = 90;
    static constexpr qint64 suggestedTempC = 60;
    static constexpr qint64 maxTempC = 150;

    bool operator==(const HostLimits &) const = default;
    bool isEmpty() const { return !cpuPct && !memPct && !diskPct && !tempC; }

    // "cpuLimit", "memLimit", "diskLimit", "tempLimit"; a limit that is off has no key, so files
    // written before limits existed read as having none.
    void write(QJsonObject &o) const;
    // Throws DecodeError for a key that holds anything but a whole number.
    static HostLimits read(const QJsonObject &o);

    // The readings past their limits, in the words the row and the notification show: "CPU 97 %",
    // "memory 93 %", "disk 94 %", "sda 63 °C". A reading equal to its limit is within it.
    QStringList breaches(const HostStats &host) const;
};

} // namespace tw
