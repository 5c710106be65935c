#include "TLSCertificateConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

TLSCertificateConfig::TLSCertificateConfig(const QUuid &id_,
                                           const QString &displayName_,
                                           const QString &host_,
                                           qint64 port_)
    : SourceConfig{id_, displayName_}
    , host(host_)
    , port(port_)
{ }

QJsonObject TLSCertificateConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"host", host);
    o.insert(u"port", port);
    if (sniName)
        o.insert(u"sniName", *sniName);
    o.insert(u"warningDays", warningDays);
    return o;
}

TLSCertificateConfig TLSCertificateConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"TLSCertificateConfig");
    TLSCertificateConfig c;
    c.readCommon(o);
    c.host = JsonRead::string(o, u"host");
    c.port = JsonRead::integer(o, u"port");
    c.sniName = JsonRead::optionalString(o, u"sniName");
    c.warningDays = JsonRead::integer(o, u"warningDays");
    return c;
}

QString TLSCertificateConfig::target() const
{
    return host + u':' + QString::number(port);
}

} // namespace tw
