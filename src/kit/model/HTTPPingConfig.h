#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct HTTPPingConfig : SourceConfig
{
    QString url;
    qint64 expectedStatus = 200;

    HTTPPingConfig() = default;
    HTTPPingConfig(const QUuid &id, const QString &displayName, const QString &url);
    bool operator==(const HTTPPingConfig &) const = default;
    QJsonObject toJson() const;
    static HTTPPingConfig fromJson(const QJsonValue &value);
};

} // namespace tw
