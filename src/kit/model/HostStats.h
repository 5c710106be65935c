#pragma once

#include "kit/model/DriveTemp.h"
#include "kit/model/ServiceStatus.h"

#include <QJsonObject>
#include <QList>

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

    bool operator==(const HostStats &) const = default;
    QJsonObject toJson() const;
    static HostStats fromJson(const QJsonValue &value);
};

} // namespace tw
