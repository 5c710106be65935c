#include "ConnectionSlots.h"

#include "kit/base/Wakeup.h"

namespace tw {

bool ConnectionSlots::tryTake(const QString &key)
{
    int &count = m_taken[key];
    if (count >= m_perHost)
        return false;
    ++count;
    return true;
}

std::shared_ptr<ConnectionSlots::Ticket> ConnectionSlots::enqueue(const QString &key, Wakeup *wakeup, int reason)
{
    auto ticket = std::make_shared<Ticket>(Ticket{wakeup, false});
    m_queues[key].append({ticket, reason});
    return ticket;
}

void ConnectionSlots::give(const QString &key)
{
    const auto queue = m_queues.find(key);
    while (queue != m_queues.end() && !queue->isEmpty()) {
        const Waiting next = queue->takeFirst();
        if (!next.ticket->wakeup)
            continue; // gave up waiting
        next.ticket->granted = true;
        next.ticket->wakeup->wake(next.reason);
        return; // the slot passes on: the count stays
    }
    if (queue != m_queues.end())
        m_queues.erase(queue);
    const auto it = m_taken.find(key);
    if (it != m_taken.end() && --*it <= 0)
        m_taken.erase(it);
}

} // namespace tw
