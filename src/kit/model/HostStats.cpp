#include "HostStats.h"

#include "kit/model/JsonRead.h"

#include <QJsonArray>

namespace tw {

QJsonObject HostStats::toJson() const
{
    QJsonArray tempArray;
    for (const DriveTemp &t : temps)
        tempArray.append(t.toJson());
    QJsonObject o{{QStringLiteral("id"), id},
                  {QStringLiteral("name"), name},
                  {QStringLiteral("status"), toText(status)},
                  {QStringLiteral("temps"), tempArray}};
    if (cpuPct)
        o.insert(u"cpuPct", *cpuPct);
    if (memPct)
        o.insert(u"memPct", *memPct);
    if (diskPct)
        o.insert(u"diskPct", *diskPct);
    if (!overLimits.isEmpty())
        o.insert(u"overLimits", QJsonArray::fromStringList(overLimits));
    return o;
}

HostStats HostStats::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"HostStats");
    HostStats h;
    h.id = JsonRead::string(o, u"id");
    h.name = JsonRead::string(o, u"name");
    const QString statusText = JsonRead::string(o, u"status");
    const auto s = serviceStatusFromString(statusText);
    if (!s)
        throw DecodeError(
            QStringLiteral("Cannot initialize ServiceStatus from invalid String value %1").arg(statusText));
    h.status = *s;
    h.cpuPct = JsonRead::optionalNumber(o, u"cpuPct");
    h.memPct = JsonRead::optionalNumber(o, u"memPct");
    h.diskPct = JsonRead::optionalNumber(o, u"diskPct");
    for (const QJsonValue &t : JsonRead::array(o, u"temps"))
        h.temps.append(DriveTemp::fromJson(t));
    if (o.contains(u"overLimits")) {
        for (const QJsonValue &reason : JsonRead::array(o, u"overLimits"))
            h.overLimits.append(reason.toString());
    }
    return h;
}

} // namespace tw
