#include "GameServerConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

GameServerConfig::GameServerConfig(const QUuid &id_,
                                   const QString &displayName_,
                                   const QString &gameID_,
                                   const QString &host_,
                                   qint64 port_)
    : SourceConfig{id_, displayName_}
    , gameID(gameID_)
    , host(host_)
    , port(port_)
{ }

QJsonObject GameServerConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"gameID", gameID);
    o.insert(u"host", host);
    o.insert(u"port", port);
    if (queryPort)
        o.insert(u"queryPort", *queryPort);
    if (credentialRef)
        o.insert(u"credentialRef", *credentialRef);
    o.insert(u"useTLS", useTLS);
    return o;
}

GameServerConfig GameServerConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"GameServerConfig");
    GameServerConfig c;
    c.id = JsonRead::uuid(o, u"id");
    c.displayName = JsonRead::string(o, u"displayName");
    c.gameID = JsonRead::string(o, u"gameID");
    c.host = JsonRead::string(o, u"host");
    c.port = JsonRead::integer(o, u"port");
    c.pollInterval = JsonRead::optionalNumber(o, u"pollInterval").value_or(PollInterval::defaultSeconds);
    c.alertsEnabled = JsonRead::optionalBoolean(o, u"alertsEnabled").value_or(true);
    c.alertThreshold = JsonRead::optionalInteger(o, u"alertThreshold").value_or(3);
    c.dependsOn = readDependsOn(o);
    c.queryPort = JsonRead::optionalInteger(o, u"queryPort");
    c.credentialRef = JsonRead::optionalString(o, u"credentialRef");
    c.useTLS = JsonRead::optionalBoolean(o, u"useTLS").value_or(false);
    return c;
}

QString GameServerConfig::target() const
{
    return host + u':' + QString::number(port);
}

std::optional<QString> GameServerConfig::secretRef() const
{
    return credentialRef;
}

} // namespace tw
