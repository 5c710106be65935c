#include "CheckedPort.h"

#include "kit/base/ProviderError.h"

namespace tw {

quint16 checkedPort(qint64 value, const QString &name)
{
    if (value < 1 || value > 65535)
        throw ProviderError::misconfigured(name + QStringLiteral(" %1 out of range (1-65535)").arg(value));
    return quint16(value);
}

} // namespace tw
