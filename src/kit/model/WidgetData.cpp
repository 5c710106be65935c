#include "WidgetData.h"

#include "kit/model/JsonRead.h"
#include "kit/model/Overloaded.h"

#include <QJsonArray>

namespace tw {

namespace {

QJsonObject wrapped(WidgetData::Kind kind, const QJsonObject &record)
{
    return {{toText(kind), QJsonObject{{QStringLiteral("_0"), record}}}};
}

} // namespace

QString toText(WidgetData::Kind kind)
{
    switch (kind) {
    case WidgetData::Kind::Service:
        return QStringLiteral("service");
    case WidgetData::Kind::Host:
        return QStringLiteral("host");
    case WidgetData::Kind::Game:
        return QStringLiteral("game");
    case WidgetData::Kind::Check:
        return QStringLiteral("check");
    case WidgetData::Kind::KeyValues:
        return QStringLiteral("keyValues");
    }
    return {};
}

QString WidgetData::id() const
{
    return std::visit(Overloaded{[](const ServiceRow &r) -> QString { return QStringLiteral("service:") + r.id; },
                                 [](const HostStats &h) -> QString { return QStringLiteral("host:") + h.id; },
                                 [](const GameServerStatus &g) -> QString { return QStringLiteral("game:") + g.id; },
                                 [](const CheckResult &c) -> QString { return QStringLiteral("check:") + c.id; },
                                 [](const KeyValues &kv) -> QString {
                                     return QStringLiteral("kv:") + kv.title;
                                 }},
                      payload);
}

QString WidgetData::widgetKey(const QUuid &sourceID) const
{
    return JsonRead::uuidText(sourceID) + QLatin1Char('/') + id();
}

ServiceStatus WidgetData::status() const
{
    return std::visit(
        Overloaded{[](const ServiceRow &r) { return r.status; },
                   [](const HostStats &h) { return h.isOverLimits() ? ServiceStatus::Warn : h.status; },
                   [](const GameServerStatus &g) { return g.online ? ServiceStatus::Up : ServiceStatus::Down; },
                   [](const CheckResult &c) { return c.status; },
                   [](const KeyValues &) {
                       return ServiceStatus::Up;
                   }},
        payload);
}

std::optional<double> WidgetData::latencyMs() const
{
    return std::visit(Overloaded{[](const ServiceRow &r) { return r.latencyMs; },
                                 [](const HostStats &) { return std::optional<double>(); },
                                 [](const GameServerStatus &g) { return g.latencyMs; },
                                 [](const CheckResult &c) { return c.latencyMs; },
                                 [](const KeyValues &) {
                                     return std::optional<double>();
                                 }},
                      payload);
}

QString WidgetData::name() const
{
    return std::visit(Overloaded{[](const KeyValues &kv) { return kv.title; },
                                 [](const auto &w) {
                                     return w.name;
                                 }},
                      payload);
}

QJsonObject WidgetData::toJson() const
{
    return std::visit(Overloaded{[this](const KeyValues &kv) {
                                     QJsonArray fields;
                                     for (const JSONFieldValue &f : kv.fields)
                                         fields.append(f.toJson());
                                     return QJsonObject{{toText(kind()),
                                                         QJsonObject{{QStringLiteral("title"), kv.title},
                                                                     {QStringLiteral("fields"), fields}}}};
                                 },
                                 [this](const auto &w) {
                                     return wrapped(kind(), w.toJson());
                                 }},
                      payload);
}

WidgetData WidgetData::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"WidgetData");
    const auto kind =
        static_cast<Kind>(JsonRead::singleCase(o, {u"service", u"host", u"game", u"check", u"keyValues"}));
    const QString name = toText(kind);
    switch (kind) {
    case Kind::Service:
        return ServiceRow::fromJson(JsonRead::payload(o, name));
    case Kind::Host:
        return HostStats::fromJson(JsonRead::payload(o, name));
    case Kind::Game:
        return GameServerStatus::fromJson(JsonRead::payload(o, name));
    case Kind::Check:
        return CheckResult::fromJson(JsonRead::payload(o, name));
    case Kind::KeyValues:
        break;
    }
    const QJsonObject inner = JsonRead::object(o.value(name), name);
    KeyValues kv{JsonRead::string(inner, u"title"), {}};
    for (const QJsonValue &f : JsonRead::array(inner, u"fields"))
        kv.fields.append(JSONFieldValue::fromJson(f));
    return kv;
}

} // namespace tw
