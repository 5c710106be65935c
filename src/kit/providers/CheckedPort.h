#pragma once

#include <QString>

namespace tw {

// A port from a configuration, or ProviderError::misconfigured("port 0 out of range (1-65535)").
quint16 checkedPort(qint64 value, const QString &name);

} // namespace tw
