#pragma once

#include "kit/model/CheckResult.h"
#include "kit/model/GameServerStatus.h"
#include "kit/model/HostStats.h"
#include "kit/model/JSONFieldValue.h"
#include "kit/model/ServiceRow.h"

#include <QUuid>

#include <variant>

namespace tw {

// The payload of a key-value widget: its title is its identity, so a renamed title is a new widget.
struct KeyValues
{
    QString title;
    QList<JSONFieldValue> fields;

    bool operator==(const KeyValues &) const = default;
};

// One thing shown in the popover, of one of five kinds. Its key ties together alert state, history,
// sparkline and layout place, so providers must keep the inner ids stable from poll to poll.
struct WidgetData
{
    enum class Kind { Service, Host, Game, Check, KeyValues };
    using Payload = std::variant<ServiceRow, HostStats, GameServerStatus, CheckResult, KeyValues>;

    Payload payload;

    WidgetData(ServiceRow row)
        : payload(std::move(row))
    { }
    WidgetData(HostStats host)
        : payload(std::move(host))
    { }
    WidgetData(GameServerStatus game)
        : payload(std::move(game))
    { }
    WidgetData(CheckResult check)
        : payload(std::move(check))
    { }
    WidgetData(KeyValues kv)
        : payload(std::move(kv))
    { }

    Kind kind() const { return static_cast<Kind>(payload.index()); }
    template<typename T>
    const T *as() const
    {
        return std::get_if<T>(&payload);
    }

    // The key prefix and the payload's own id: "service:db", "kv:Weather".
    QString id() const;
    // The application-wide key: the source's upper-case UUID, "/", then id().
    QString widgetKey(const QUuid &sourceID) const;
    ServiceStatus status() const;
    std::optional<double> latencyMs() const;
    // The name of the row, or the title of a key-value widget.
    QString name() const;

    bool operator==(const WidgetData &) const = default;
    QJsonObject toJson() const;
    static WidgetData fromJson(const QJsonValue &value);
};

QString toText(WidgetData::Kind kind);

} // namespace tw
