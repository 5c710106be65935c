#pragma once

#include "kit/model/ServiceStatus.h"

#include <QJsonObject>

#include <optional>

namespace tw {

struct ServiceRow
{
    QString id;
    QString name;
    ServiceStatus status = ServiceStatus::Unknown;
    std::optional<double> latencyMs;
    std::optional<QString> detail;
    std::optional<QString> url; // where the user can look at it in a browser

    bool operator==(const ServiceRow &) const = default;
    QJsonObject toJson() const;
    static ServiceRow fromJson(const QJsonValue &value);
};

} // namespace tw
