#include "DNSRecordConfig.h"

#include "kit/model/JsonRead.h"

using namespace Qt::StringLiterals;

namespace tw {

QString toText(DNSRecordType type)
{
    switch (type) {
    case DNSRecordType::A:
        return u"A"_s;
    case DNSRecordType::AAAA:
        return u"AAAA"_s;
    case DNSRecordType::CNAME:
        return u"CNAME"_s;
    case DNSRecordType::MX:
        return u"MX"_s;
    case DNSRecordType::TXT:
        return u"TXT"_s;
    case DNSRecordType::SRV:
        return u"SRV"_s;
    }
    return {};
}

QList<DNSRecordType> allDNSRecordTypes()
{
    return {DNSRecordType::A,
            DNSRecordType::AAAA,
            DNSRecordType::CNAME,
            DNSRecordType::MX,
            DNSRecordType::TXT,
            DNSRecordType::SRV};
}

std::optional<DNSRecordType> dnsRecordTypeFromString(QStringView text)
{
    for (DNSRecordType type : allDNSRecordTypes()) {
        if (text == toText(type))
            return type;
    }
    return std::nullopt;
}

DNSRecordConfig::DNSRecordConfig(const QUuid &id_,
                                 const QString &displayName_,
                                 const QString &name_,
                                 DNSRecordType recordType_)
    : SourceConfig{id_, displayName_}
    , name(name_)
    , recordType(recordType_)
{ }

QJsonObject DNSRecordConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"name", name);
    o.insert(u"recordType", toText(recordType));
    if (expectedValue)
        o.insert(u"expectedValue", *expectedValue);
    if (nameserver)
        o.insert(u"nameserver", *nameserver);
    return o;
}

DNSRecordConfig DNSRecordConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"DNSRecordConfig");
    DNSRecordConfig c;
    c.readCommon(o);
    c.name = JsonRead::string(o, u"name");
    const QString type = JsonRead::string(o, u"recordType");
    const auto parsed = dnsRecordTypeFromString(type);
    if (!parsed)
        throw DecodeError(u"Cannot initialize DNSRecordType from invalid String value "_s + type);
    c.recordType = *parsed;
    c.expectedValue = JsonRead::optionalString(o, u"expectedValue");
    c.nameserver = JsonRead::optionalString(o, u"nameserver");
    return c;
}

QString DNSRecordConfig::target() const
{
    return toText(recordType) + u' ' + name;
}

} // namespace tw
