#pragma once

#include <QHash>
#include <QList>
#include <QString>

#include <memory>

namespace tw {

class Wakeup;

// Caps how many exchanges run at once with one host and port, as browsers and Qt's network
// manager do (six): a rack of checks against one small server, started together, must not flood
// its accept queue. Waiters are served in turn, each woken alone when a slot passes to it.
class ConnectionSlots
{
public:
    static constexpr int defaultPerHost = 6;
    explicit ConnectionSlots(int perHost = defaultPerHost)
        : m_perHost(perHost)
    { }

    // A place in the queue. The waiter clears `wakeup` when it stops waiting; a slot handed to it
    // sets `granted` and is the waiter's to give back.
    struct Ticket
    {
        Wakeup *wakeup = nullptr;
        bool granted = false;
    };

    bool tryTake(const QString &key);
    // Queues the waiter; `wakeup` is woken with `reason` when a slot passes to it.
    std::shared_ptr<Ticket> enqueue(const QString &key, Wakeup *wakeup, int reason);
    // Frees a slot, or hands it straight to the next waiter still waiting.
    void give(const QString &key);
    int taken(const QString &key) const { return m_taken.value(key); }

private:
    struct Waiting
    {
        std::shared_ptr<Ticket> ticket;
        int reason = 0;
    };
    int m_perHost;
    QHash<QString, int> m_taken;
    QHash<QString, QList<Waiting>> m_queues;
};

} // namespace tw
