#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

struct TCPPortConfig : SourceConfig
{
    QString host;
    qint64 port = 0;

    TCPPortConfig() = default;
    TCPPortConfig(const QUuid &id, const QString &displayName, const QString &host, qint64 port);
    bool operator==(const TCPPortConfig &) const = default;
    QJsonObject toJson() const;
    static TCPPortConfig fromJson(const QJsonValue &value);
};

} // namespace tw
