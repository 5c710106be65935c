#include "DriveTemp.h"

#include "kit/model/JsonRead.h"

namespace tw {

QJsonObject DriveTemp::toJson() const
{
    return {{QStringLiteral("label"), label}, {QStringLiteral("tempC"), tempC}};
}

DriveTemp DriveTemp::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"DriveTemp");
    return {JsonRead::string(o, u"label"), JsonRead::number(o, u"tempC")};
}

} // namespace tw
