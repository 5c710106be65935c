#pragma once

#include <QJsonObject>
#include <QStringList>

#include <optional>

namespace tw {

// One game server. `online` stands in for a status: a game widget reads only up or down.
struct GameServerStatus
{
    QString id;
    QString name;
    bool online = false;
    std::optional<qint64> playersCurrent;
    std::optional<qint64> playersMax;
    QStringList playerNames;
    std::optional<double> latencyMs;
    QString detail;

    bool operator==(const GameServerStatus &) const = default;
    QJsonObject toJson() const;
    static GameServerStatus fromJson(const QJsonValue &value);
};

} // namespace tw
