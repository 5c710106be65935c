#include "SourceConfig.h"

#include "kit/model/JsonRead.h"

namespace tw {

void SourceConfig::writeCommon(QJsonObject &o) const
{
    o.insert(u"id", JsonRead::uuidText(id));
    o.insert(u"displayName", displayName);
    o.insert(u"pollInterval", pollInterval);
    o.insert(u"alertsEnabled", alertsEnabled);
    o.insert(u"alertThreshold", alertThreshold);
    // Absent rather than null when there is none, so that files without dependencies stay as
    // earlier versions wrote them.
    if (dependsOn)
        o.insert(u"dependsOn", JsonRead::uuidText(*dependsOn));
}

void SourceConfig::readCommon(const QJsonObject &o)
{
    id = JsonRead::uuid(o, u"id");
    displayName = JsonRead::string(o, u"displayName");
    pollInterval = JsonRead::number(o, u"pollInterval");
    alertsEnabled = JsonRead::boolean(o, u"alertsEnabled");
    alertThreshold = JsonRead::integer(o, u"alertThreshold");
    dependsOn = readDependsOn(o);
}

std::optional<QUuid> SourceConfig::readDependsOn(const QJsonObject &o)
{
    return JsonRead::optionalUuid(o, u"dependsOn");
}

} // namespace tw
