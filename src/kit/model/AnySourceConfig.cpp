#include "AnySourceConfig.h"

#include "kit/model/JsonRead.h"

#include <array>

namespace tw {

namespace {

using Payload = AnySourceConfig::Payload;
constexpr std::size_t kindCount = AnySourceConfig::kindCount;

template<std::size_t... I>
constexpr std::array<SourceKindInfo, kindCount> kindInfos(std::index_sequence<I...>)
{
    return {std::variant_alternative_t<I, Payload>::info...};
}

constexpr auto infos = kindInfos(std::make_index_sequence<kindCount>());

template<std::size_t I>
AnySourceConfig decode(const QJsonObject &record)
{
    return std::variant_alternative_t<I, Payload>::fromJson(record);
}

template<std::size_t... I>
constexpr std::array<AnySourceConfig (*)(const QJsonObject &), kindCount> decoders(std::index_sequence<I...>)
{
    return {&decode<I>...};
}

} // namespace

const SourceKindInfo &AnySourceConfig::info(Kind kind)
{
    return infos.at(static_cast<std::size_t>(kind));
}

QList<AnySourceConfig::Kind> AnySourceConfig::allKinds()
{
    QList<Kind> kinds;
    for (std::size_t i = 0; i < kindCount; ++i)
        kinds.append(static_cast<Kind>(i));
    return kinds;
}

QString toText(AnySourceConfig::Kind kind)
{
    return AnySourceConfig::info(kind).key.toString();
}

std::optional<AnySourceConfig::Kind> sourceKindFromString(QStringView text)
{
    for (std::size_t i = 0; i < kindCount; ++i) {
        if (text == infos[i].key)
            return static_cast<AnySourceConfig::Kind>(i);
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
    static constexpr auto decode = decoders(std::make_index_sequence<kindCount>());
    const QJsonObject o = JsonRead::object(value, u"AnySourceConfig");
    const auto index = static_cast<std::size_t>([&o]<std::size_t... I>(std::index_sequence<I...>) {
        return JsonRead::singleCase(o, {infos[I].key...});
    }(std::make_index_sequence<kindCount>()));
    return decode.at(index)(JsonRead::payload(o, infos.at(index).key));
}

QString AnySourceConfig::credentialName(Kind kind, const QUuid &id)
{
    return toText(kind) + QLatin1Char('-') + JsonRead::uuidText(id);
}

QStringList AnySourceConfig::credentialNames() const
{
    const auto name = std::visit([](const auto &config) { return config.secretRef(); }, m_payload);
    return name && !name->isEmpty() ? QStringList{*name} : QStringList{};
}

QString AnySourceConfig::target() const
{
    return std::visit([](const auto &config) { return config.target(); }, m_payload);
}

} // namespace tw
