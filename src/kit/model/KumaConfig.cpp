#include "KumaConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

KumaConfig::KumaConfig(const QUuid &id_, const QString &displayName_, const QString &baseURL_)
    : SourceConfig{id_, displayName_}
    , baseURL(baseURL_)
{ }

QJsonObject KumaConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"baseURL", baseURL);
    if (username)
        o.insert(u"username", *username);
    if (passwordRef)
        o.insert(u"passwordRef", *passwordRef);
    if (statusPageSlug)
        o.insert(u"statusPageSlug", *statusPageSlug);
    return o;
}

KumaConfig KumaConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"KumaConfig");
    KumaConfig c;
    c.readCommon(o);
    c.baseURL = JsonRead::string(o, u"baseURL");
    c.username = JsonRead::optionalString(o, u"username");
    c.passwordRef = JsonRead::optionalString(o, u"passwordRef");
    c.statusPageSlug = JsonRead::optionalString(o, u"statusPageSlug");
    return c;
}

QString KumaConfig::target() const
{
    return baseURL;
}

std::optional<QString> KumaConfig::secretRef() const
{
    return passwordRef;
}

} // namespace tw
