#pragma once

#include "kit/model/SourceConfig.h"

#include <optional>

namespace tw {

// Read leniently, unlike the other kinds: files written before the alert and TLS fields existed
// must keep working, so only the identity and the address are required.
struct GameServerConfig : SourceConfig
{
    static constexpr SourceKindInfo info{u"gameServer", u"Game Server", u"gamecontroller", u"Game servers"};

    QString gameID;
    QString host;
    qint64 port = 0;
    std::optional<qint64> queryPort;
    std::optional<QString> credentialRef; // credential name
    bool useTLS = false;

    GameServerConfig() = default;
    GameServerConfig(const QUuid &id,
                     const QString &displayName,
                     const QString &gameID,
                     const QString &host,
                     qint64 port);
    // What it watches, as the settings list shows it: a URL, or "host:port".
    QString target() const;
    // The name of its secret in the credential store, when it has one.
    std::optional<QString> secretRef() const;
    bool operator==(const GameServerConfig &) const = default;
    QJsonObject toJson() const;
    static GameServerConfig fromJson(const QJsonValue &value);
};

} // namespace tw
