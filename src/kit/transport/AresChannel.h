#pragma once

#include "kit/transport/Nameserver.h"

#include <QObject>
#include <QTimer>

#include <ares.h>
#include <chrono>
#include <map>
#include <memory>
#include <optional>

class QSocketNotifier;

namespace tw {

// One c-ares channel served by the event loop of the thread that made it: socket notifiers for the
// sockets c-ares asks to have watched, and a timer for its retries. No thread is involved, so a
// query that nobody answers costs one socket and nothing else. Each look-up gets a channel of its
// own, because destroying the channel is the only way c-ares 1.18 offers to end one query at once;
// its callback then runs inside the destructor, never later.
class AresChannel
{
public:
    // A channel that asks `server`, or the system's nameservers (resolv.conf, hosts file) without
    // one; each try waits a third of `budget`. Nothing when c-ares cannot set one up.
    static std::unique_ptr<AresChannel> open(const std::optional<Nameserver> &server, std::chrono::milliseconds budget);
    ~AresChannel();
    AresChannel(const AresChannel &) = delete;
    AresChannel &operator=(const AresChannel &) = delete;

    // Each takes a callback of c-ares, which runs on this thread from the event loop, from
    // cancelAll(), or from the destructor with ARES_EDESTRUCTION.
    void query(const QString &name, int type, ares_callback callback, void *argument);
    void addresses(const QString &name, ares_addrinfo_callback callback, void *argument);

    // Ends every query of every channel with ARES_ECANCELLED and closes their sockets: at quit.
    static void cancelAll();

private:
    AresChannel() = default;
    static void socketState(void *data, ares_socket_t socket, int readable, int writable);
    void watch(ares_socket_t socket, bool readable, bool writable);
    void process(ares_socket_t readable, ares_socket_t writable);
    void rearm();

    struct Watch
    {
        QSocketNotifier *read = nullptr;
        QSocketNotifier *write = nullptr;
    };

    QObject m_context; // first member, so it is destroyed last and its connections never outlive the rest
    QTimer m_timer;
    std::map<ares_socket_t, Watch> m_sockets;
    ares_channel m_channel = nullptr;
};

} // namespace tw
