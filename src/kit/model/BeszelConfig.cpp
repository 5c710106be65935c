#include "BeszelConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

BeszelConfig::BeszelConfig(const QUuid &id_,
                           const QString &displayName_,
                           const QString &baseURL_,
                           const QString &tokenRef_)
    : SourceConfig{id_, displayName_, PollInterval::beszelDefault}
    , baseURL(baseURL_)
    , tokenRef(tokenRef_)
{ }

QJsonObject BeszelConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"baseURL", baseURL);
    o.insert(u"tokenRef", tokenRef);
    limits.write(o);
    return o;
}

BeszelConfig BeszelConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"BeszelConfig");
    BeszelConfig c;
    c.readCommon(o);
    c.baseURL = JsonRead::string(o, u"baseURL");
    c.tokenRef = JsonRead::string(o, u"tokenRef");
    c.limits = HostLimits::read(o);
    return c;
}

QString BeszelConfig::target() const
{
    return baseURL;
}

std::optional<QString> BeszelConfig::secretRef() const
{
    return tokenRef.isEmpty() ? std::nullopt : std::optional(tokenRef);
}

} // namespace tw
