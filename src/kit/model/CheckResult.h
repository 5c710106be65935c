#pragma once

#include "kit/model/ServiceStatus.h"

#include <QJsonObject>

#include <optional>

namespace tw {

struct CheckResult
{
    QString id;
    QString name;
    ServiceStatus status = ServiceStatus::Unknown;
    std::optional<double> latencyMs;
    std::optional<QString> detail;
    std::optional<QString> url; // where the user can look at it in a browser

    bool operator==(const CheckResult &) const = default;
    QJsonObject toJson() const;
    static CheckResult fromJson(const QJsonValue &value);
};

} // namespace tw
