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

// Every kind of source, in the order of the variant. Kinds are only ever appended: sources.json and
// other enumerations follow the order. A kind named Foo is FooConfig here (with its SourceKindInfo),
// makeProvider(const FooConfig &, …) beside its provider, its form in kit/forms/FooForm.cpp and its
// view in FooForm.qml; this line and the include above are all that registers it.
#define TW_SOURCE_KINDS(X)                                                                                             \
    X(Kuma) X(Beszel) X(GameServer) X(HTTPPing) X(TCPPort) X(JSONWidget) X(ICMPPing) X(DNSRecord) X(TLSCertificate)

namespace tw {

namespace detail {
template<typename, typename... Configs>
struct ConfigVariant
{
    using type = std::variant<Configs...>;
};
} // namespace detail

#define TW_KIND_ENUMERATOR(Kind) Kind,
#define TW_KIND_CONFIG(Kind) , Kind##Config

// One configured source of any kind: the element of sources.json. Written as {"kind":{"_0":{…}}}.
class AnySourceConfig
{
public:
    enum class Kind { TW_SOURCE_KINDS(TW_KIND_ENUMERATOR) };
    using Payload = detail::ConfigVariant<void TW_SOURCE_KINDS(TW_KIND_CONFIG)>::type;
    static constexpr std::size_t kindCount = std::variant_size_v<Payload>;

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

    // Every kind, in order.
    static QList<Kind> allKinds();
    // The kind's key, title and symbol.
    static const SourceKindInfo &info(Kind kind);
    // What the source watches: a URL, "host:port", "A nas.local".
    QString target() const;

private:
    Payload m_payload;
};

#undef TW_KIND_ENUMERATOR
#undef TW_KIND_CONFIG

// The kind's name as files and messages use it: "kuma", "gameServer", "httpPing", …
QString toText(AnySourceConfig::Kind kind);
std::optional<AnySourceConfig::Kind> sourceKindFromString(QStringView text);

} // namespace tw
