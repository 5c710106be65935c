#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct HTTPPingConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"httpPing", u"HTTP Ping", u"globe", u"Web checks"};

    QString url;
    qint64 expectedStatus = 200;

    HTTPPingConfig() = default;
    HTTPPingConfig(const QUuid &id, const QString &displayName, const QString &url);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    bool operator==(const HTTPPingConfig &) const = default;
    QJsonObject toJson() const;
    static HTTPPingConfig fromJson(const QJsonValue &value);
};

} // namespace tw
