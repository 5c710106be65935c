#include "GameServerStatus.h"

#include "kit/model/JsonRead.h"

#include <QJsonArray>

namespace tw {

QJsonObject GameServerStatus::toJson() const
{
    QJsonObject o{{QStringLiteral("id"), id},
                  {QStringLiteral("name"), name},
                  {QStringLiteral("online"), online},
                  {QStringLiteral("playerNames"), QJsonArray::fromStringList(playerNames)},
                  {QStringLiteral("detail"), detail}};
    if (playersCurrent)
        o.insert(u"playersCurrent", *playersCurrent);
    if (playersMax)
        o.insert(u"playersMax", *playersMax);
    if (latencyMs)
        o.insert(u"latencyMs", *latencyMs);
    return o;
}

GameServerStatus GameServerStatus::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"GameServerStatus");
    GameServerStatus g;
    g.id = JsonRead::string(o, u"id");
    g.name = JsonRead::string(o, u"name");
    g.online = JsonRead::boolean(o, u"online");
    g.playersCurrent = JsonRead::optionalInteger(o, u"playersCurrent");
    g.playersMax = JsonRead::optionalInteger(o, u"playersMax");
    for (const QJsonValue &n : JsonRead::array(o, u"playerNames")) {
        if (!n.isString())
            throw DecodeError(QStringLiteral("Expected a string in \"playerNames\"."));
        g.playerNames.append(n.toString());
    }
    g.latencyMs = JsonRead::optionalNumber(o, u"latencyMs");
    g.detail = JsonRead::string(o, u"detail");
    return g;
}

} // namespace tw
