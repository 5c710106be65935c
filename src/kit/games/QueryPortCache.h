#pragma once

#include <QHash>
#include <QUuid>

#include <optional>

namespace tw {

// Which query port answered last, per source, so the next poll tries it first. Memory only: it
// starts empty at every launch, and a stale entry costs one failed try, no more.
class QueryPortCache
{
public:
    static QueryPortCache &shared();

    std::optional<quint16> port(const QUuid &source) const;
    void store(quint16 port, const QUuid &source) { m_ports.insert(source, port); }

private:
    QHash<QUuid, quint16> m_ports;
};

} // namespace tw
