#include "JSONFieldValue.h"

#include "kit/model/JsonRead.h"

namespace tw {

QJsonObject JSONFieldValue::toJson() const
{
    return {{QStringLiteral("label"), label}, {QStringLiteral("value"), value}};
}

JSONFieldValue JSONFieldValue::fromJson(const QJsonValue &json)
{
    const QJsonObject o = JsonRead::object(json, u"JSONFieldValue");
    return {JsonRead::string(o, u"label"), JsonRead::string(o, u"value")};
}

} // namespace tw
