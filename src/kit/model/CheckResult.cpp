#include "CheckResult.h"

#include "kit/model/StatusRowJson.h"

namespace tw {

QJsonObject CheckResult::toJson() const
{
    return StatusRowJson::write(*this);
}

CheckResult CheckResult::fromJson(const QJsonValue &value)
{
    return StatusRowJson::read<CheckResult>(value, u"CheckResult");
}

} // namespace tw
