#pragma once

#include "kit/model/JsonRead.h"
#include "kit/model/ServiceStatus.h"

#include <QJsonObject>

// ServiceRow and CheckResult share one field list and one JSON form; they stay separate types
// because the popover draws them differently.
namespace tw::StatusRowJson {

template<typename Row>
QJsonObject write(const Row &row)
{
    QJsonObject o{{QStringLiteral("id"), row.id},
                  {QStringLiteral("name"), row.name},
                  {QStringLiteral("status"), toText(row.status)}};
    if (row.latencyMs)
        o.insert(u"latencyMs", *row.latencyMs);
    if (row.detail)
        o.insert(u"detail", *row.detail);
    if (row.url)
        o.insert(u"url", *row.url);
    return o;
}

template<typename Row>
Row read(const QJsonValue &value, QStringView what)
{
    const QJsonObject o = JsonRead::object(value, what);
    const QString statusText = JsonRead::string(o, u"status");
    const auto status = serviceStatusFromString(statusText);
    if (!status)
        throw DecodeError(
            QStringLiteral("Cannot initialize ServiceStatus from invalid String value %1").arg(statusText));
    return Row{JsonRead::string(o, u"id"),
               JsonRead::string(o, u"name"),
               *status,
               JsonRead::optionalNumber(o, u"latencyMs"),
               JsonRead::optionalString(o, u"detail"),
               JsonRead::optionalString(o, u"url")};
}

} // namespace tw::StatusRowJson
