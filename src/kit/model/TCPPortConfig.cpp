#include "TCPPortConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

TCPPortConfig::TCPPortConfig(const QUuid &id_, const QString &displayName_, const QString &host_, qint64 port_)
    : SourceConfig{id_, displayName_}
    , host(host_)
    , port(port_)
{ }

QJsonObject TCPPortConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"host", host);
    o.insert(u"port", port);
    return o;
}

TCPPortConfig TCPPortConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"TCPPortConfig");
    TCPPortConfig c;
    c.readCommon(o);
    c.host = JsonRead::string(o, u"host");
    c.port = JsonRead::integer(o, u"port");
    return c;
}

QString TCPPortConfig::target() const
{
    return host + u':' + QString::number(port);
}

} // namespace tw
