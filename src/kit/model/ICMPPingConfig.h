#pragma once

#include "kit/model/SourceConfig.h"

namespace tw {

// Echo requests to a host through the kernel's unprivileged ICMP sockets.
struct ICMPPingConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"icmpPing",
                                         u"ICMP Ping",
                                         u"dot.radiowaves.left.and.right",
                                         u"Host reachability"};

    static constexpr qint64 minCount = 1;
    static constexpr qint64 maxCount = 5;
    static constexpr qint64 defaultCount = 3;

    QString host;
    qint64 count = defaultCount; // echoes per poll; clamped to minCount…maxCount where it is used

    ICMPPingConfig() = default;
    ICMPPingConfig(const QUuid &id, const QString &displayName, const QString &host, qint64 count = defaultCount);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    bool operator==(const ICMPPingConfig &) const = default;
    QJsonObject toJson() const;
    static ICMPPingConfig fromJson(const QJsonValue &value);
};

} // namespace tw
