#include "ICMPPingConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

ICMPPingConfig::ICMPPingConfig(const QUuid &id_, const QString &displayName_, const QString &host_, qint64 count_)
    : SourceConfig{id_, displayName_}
    , host(host_)
    , count(count_)
{ }

QJsonObject ICMPPingConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"host", host);
    o.insert(u"count", count);
    return o;
}

ICMPPingConfig ICMPPingConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"ICMPPingConfig");
    ICMPPingConfig c;
    c.readCommon(o);
    c.host = JsonRead::string(o, u"host");
    c.count = JsonRead::integer(o, u"count");
    return c;
}

QString ICMPPingConfig::target() const
{
    return host;
}

} // namespace tw
