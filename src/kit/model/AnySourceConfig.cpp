#include "AnySourceConfig.h"

#include "kit/model/JsonRead.h"
#include "kit/model/Overloaded.h"

namespace tw {

namespace {

constexpr AnySourceConfig::Kind allKinds[] = {AnySourceConfig::Kind::Kuma,
                                              AnySourceConfig::Kind::Beszel,
                                              AnySourceConfig::Kind::GameServer,
                                              AnySourceConfig::Kind::HTTPPing,
                                              AnySourceConfig::Kind::TCPPort,
                                              AnySourceConfig::Kind::JSONWidget,
                                              AnySourceConfig::Kind::ICMPPing,
                                              AnySourceConfig::Kind::DNSRecord,
                                              AnySourceConfig::Kind::TLSCertificate};

} // namespace

QString toText(AnySourceConfig::Kind kind)
{
    switch (kind) {
    case AnySourceConfig::Kind::Kuma:
        return QStringLiteral("kuma");
    case AnySourceConfig::Kind::Beszel:
        return QStringLiteral("beszel");
    case AnySourceConfig::Kind::GameServer:
        return QStringLiteral("gameServer");
    case AnySourceConfig::Kind::HTTPPing:
        return QStringLiteral("httpPing");
    case AnySourceConfig::Kind::TCPPort:
        return QStringLiteral("tcpPort");
    case AnySourceConfig::Kind::JSONWidget:
        return QStringLiteral("jsonWidget");
    case AnySourceConfig::Kind::ICMPPing:
        return QStringLiteral("icmpPing");
    case AnySourceConfig::Kind::DNSRecord:
        return QStringLiteral("dnsRecord");
    case AnySourceConfig::Kind::TLSCertificate:
        return QStringLiteral("tlsCertificate");
    }
    return {};
}

std::optional<AnySourceConfig::Kind> sourceKindFromString(QStringView text)
{
    for (AnySourceConfig::Kind k : allKinds) {
        if (text == toText(k))
            return k;
    }
    return std::nullopt;
}

const SourceConfig &AnySourceConfig::common() const
{
    return std::visit([](const auto &c) -> const SourceConfig & { return c; }, m_payload);
}

SourceConfig &AnySourceConfig::common()
{
    return std::visit([](auto &c) -> SourceConfig & { return c; }, m_payload);
}

QJsonObject AnySourceConfig::toJson() const
{
    const QJsonObject record = std::visit([](const auto &c) { return c.toJson(); }, m_payload);
    return {{toText(kind()), QJsonObject{{QStringLiteral("_0"), record}}}};
}

AnySourceConfig AnySourceConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"AnySourceConfig");
    const auto kind = allKinds[JsonRead::singleCase(o,
                                                    {u"kuma",
                                                     u"beszel",
                                                     u"gameServer",
                                                     u"httpPing",
                                                     u"tcpPort",
                                                     u"jsonWidget",
                                                     u"icmpPing",
                                                     u"dnsRecord",
                                                     u"tlsCertificate"})];
    const QJsonObject record = JsonRead::payload(o, toText(kind));
    switch (kind) {
    case Kind::Kuma:
        return KumaConfig::fromJson(record);
    case Kind::Beszel:
        return BeszelConfig::fromJson(record);
    case Kind::GameServer:
        return GameServerConfig::fromJson(record);
    case Kind::HTTPPing:
        return HTTPPingConfig::fromJson(record);
    case Kind::TCPPort:
        return TCPPortConfig::fromJson(record);
    case Kind::JSONWidget:
        return JSONWidgetConfig::fromJson(record);
    case Kind::ICMPPing:
        return ICMPPingConfig::fromJson(record);
    case Kind::DNSRecord:
        return DNSRecordConfig::fromJson(record);
    case Kind::TLSCertificate:
        return TLSCertificateConfig::fromJson(record);
    }
    throw DecodeError(QStringLiteral("Invalid number of keys found, expected one."));
}

QString AnySourceConfig::credentialName(Kind kind, const QUuid &id)
{
    return toText(kind) + QLatin1Char('-') + JsonRead::uuidText(id);
}

QStringList AnySourceConfig::credentialNames() const
{
    const auto name = std::visit(Overloaded{
                                     [](const KumaConfig &config) { return config.passwordRef; },
                                     [](const BeszelConfig &config) { return std::optional<QString>(config.tokenRef); },
                                     [](const GameServerConfig &config) { return config.credentialRef; },
                                     [](const JSONWidgetConfig &config) { return config.bearerTokenRef; },
                                     [](const auto &) { return std::optional<QString>(); },
                                 },
                                 m_payload);
    return name && !name->isEmpty() ? QStringList{*name} : QStringList{};
}

} // namespace tw
