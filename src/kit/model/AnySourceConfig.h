#pragma once

#include "kit/model/BeszelConfig.h"
#include "kit/model/DNSRecordConfig.h"
#include "kit/model/GameServerConfig.h"
#include "kit/model/HTTPPingConfig.h"
#include "kit/model/ICMPPingConfig.h"
#include "kit/model/JSONWidgetConfig.h"
#include "kit/model/KumaConfig.h"
#include "kit/model/TCPPortConfig.h"
#include "kit/model/TLSCertificateConfig.h"

#include <variant>

namespace tw {

// One configured source of any kind: the element of sources.json. Written as {"kind":{"_0":{…}}}.
class AnySourceConfig
{
public:
    // Kinds are only ever appended: the order is the variant's, and other enumerations follow it.
    enum class Kind { Kuma, Beszel, GameServer, HTTPPing, TCPPort, JSONWidget, ICMPPing, DNSRecord, TLSCertificate };
    using Payload = std::variant<KumaConfig,
                                 BeszelConfig,
                                 GameServerConfig,
                                 HTTPPingConfig,
                                 TCPPortConfig,
                                 JSONWidgetConfig,
                                 ICMPPingConfig,
                                 DNSRecordConfig,
                                 TLSCertificateConfig>;

    template<typename Config>
    requires std::is_constructible_v<Payload, Config> AnySourceConfig(Config config)
        : m_payload(std::move(config))
    { }

    Kind kind() const { return static_cast<Kind>(m_payload.index()); }
    QUuid id() const { return common().id; }
    const SourceConfig &common() const;
    SourceConfig &common();
    const Payload &payload() const { return m_payload; }
    Payload &payload() { return m_payload; }

    template<typename Config>
    const Config *as() const
    {
        return std::get_if<Config>(&m_payload);
    }

    bool operator==(const AnySourceConfig &) const = default;
    QJsonObject toJson() const;
    // Throws DecodeError; "Invalid number of keys found, expected one." for a wrapper that does not
    // hold exactly one known kind.
    static AnySourceConfig fromJson(const QJsonValue &value);

    // The name under which a new secret of this kind of source is stored: "kuma-<UUID>".
    static QString credentialName(Kind kind, const QUuid &id);

    // The names of the secrets this configuration refers to (none, or one).
    QStringList credentialNames() const;

private:
    Payload m_payload;
};

// The kind's name as files and messages use it: "kuma", "gameServer", "httpPing", …
QString toText(AnySourceConfig::Kind kind);
std::optional<AnySourceConfig::Kind> sourceKindFromString(QStringView text);

} // namespace tw
