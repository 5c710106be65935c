#include "HTTPPingConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

HTTPPingConfig::HTTPPingConfig(const QUuid &id_, const QString &displayName_, const QString &url_)
    : SourceConfig{id_, displayName_}
    , url(url_)
{ }

QJsonObject HTTPPingConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"url", url);
    o.insert(u"expectedStatus", expectedStatus);
    return o;
}

HTTPPingConfig HTTPPingConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"HTTPPingConfig");
    HTTPPingConfig c;
    c.readCommon(o);
    c.url = JsonRead::string(o, u"url");
    c.expectedStatus = JsonRead::integer(o, u"expectedStatus");
    return c;
}

QString HTTPPingConfig::target() const
{
    return url;
}

} // namespace tw
