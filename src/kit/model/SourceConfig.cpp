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
}

void SourceConfig::readCommon(const QJsonObject &o)
{
    id = JsonRead::uuid(o, u"id");
    displayName = JsonRead::string(o, u"displayName");
    pollInterval = JsonRead::number(o, u"pollInterval");
    alertsEnabled = JsonRead::boolean(o, u"alertsEnabled");
    alertThreshold = JsonRead::integer(o, u"alertThreshold");
}

} // namespace tw
