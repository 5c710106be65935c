#include "QueryPortCache.h"

namespace tw {

QueryPortCache &QueryPortCache::shared()
{
    static QueryPortCache cache; // used from the main thread only
    return cache;
}

std::optional<quint16> QueryPortCache::port(const QUuid &source) const
{
    const auto it = m_ports.constFind(source);
    return it == m_ports.cend() ? std::nullopt : std::optional(*it);
}

} // namespace tw
