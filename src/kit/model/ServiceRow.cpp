#include "ServiceRow.h"

#include "kit/model/StatusRowJson.h"

namespace tw {

QJsonObject ServiceRow::toJson() const
{
    return StatusRowJson::write(*this);
}

ServiceRow ServiceRow::fromJson(const QJsonValue &value)
{
    return StatusRowJson::read<ServiceRow>(value, u"ServiceRow");
}

} // namespace tw
