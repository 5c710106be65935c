#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct TCPPortConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"tcpPort", u"TCP Port", u"network", u"Port listener"};

    QString host;
    qint64 port = 0;

    TCPPortConfig() = default;
    TCPPortConfig(const QUuid &id, const QString &displayName, const QString &host, qint64 port);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    bool operator==(const TCPPortConfig &) const = default;
    QJsonObject toJson() const;
    static TCPPortConfig fromJson(const QJsonValue &value);
};

} // namespace tw
