#pragma once

#include "kit/model/DriveTemp.h"
#include "kit/model/ServiceStatus.h"

#include <QJsonObject>
#include <QList>
#include <QStringList>

#include <optional>

namespace tw {

struct HostStats
{
    QString id;
    QString name;
    ServiceStatus status = ServiceStatus::Unknown;
    std::optional<double> cpuPct;
    std::optional<double> memPct;
    std::optional<double> diskPct;
    QList<DriveTemp> temps;
    // The readings past the source's limits ("disk 94 %"); a host that is up with any reads warn.
    QStringList overLimits;

    bool operator==(const HostStats &) const = default;
    // Up, but past a limit.
    bool isOverLimits() const { return status == ServiceStatus::Up && !overLimits.isEmpty(); }
    QJsonObject toJson() const;
    static HostStats fromJson(const QJsonValue &value);
};

} // namespace tw
