#include "AresChannel.h"

#include <QCoreApplication>
#include <QSet>
#include <QSocketNotifier>

#include <arpa/nameser.h>

namespace tw {

namespace {

QSet<AresChannel *> &liveChannels()
{
    static QSet<AresChannel *> channels;
    return channels;
}

// Turned off at once and freed once control is back in the event loop: c-ares closes a socket from
// inside ares_process_fd, which runs in the very notifier's signal.
void retire(QSocketNotifier *&notifier)
{
    if (!notifier)
        return;
    notifier->setEnabled(false);
    notifier->deleteLater();
    notifier = nullptr;
}

bool libraryReady()
{
    static const bool ready = [] {
        if (ares_library_init(ARES_LIB_INIT_ALL) != ARES_SUCCESS)
            return false;
        // Look-ups still running when the event loop ends are ended with it: quitting never waits
        // for a nameserver.
        if (QCoreApplication *app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, app, &AresChannel::cancelAll);
        return true;
    }();
    return ready;
}

} // namespace

std::unique_ptr<AresChannel> AresChannel::open(const std::optional<Nameserver> &server,
                                               std::chrono::milliseconds budget)
{
    if (!libraryReady())
        return nullptr;
    std::unique_ptr<AresChannel> channel(new AresChannel);
    ares_options options{};
    options.sock_state_cb = &AresChannel::socketState;
    options.sock_state_cb_data = channel.get();
    // Two tries within the caller's bound, the second twice as long (c-ares doubles it): a lost
    // datagram is asked again, and the bound is what ends a silent nameserver.
    options.timeout = int(std::max<qint64>(budget.count() / 3, 100));
    options.tries = 2;
    // A SERVFAIL or REFUSED reaches the caller as such; c-ares 1.18 otherwise skips that server and,
    // with none left, reports the look-up as refused at the socket.
    options.flags = ARES_FLAG_NOCHECKRESP;
    const int mask = ARES_OPT_SOCK_STATE_CB | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_FLAGS;
    if (ares_init_options(&channel->m_channel, &options, mask) != ARES_SUCCESS) {
        channel->m_channel = nullptr;
        return nullptr;
    }
    if (server && ares_set_servers_ports_csv(channel->m_channel, server->serverList().constData()) != ARES_SUCCESS)
        return nullptr;
    channel->m_timer.setSingleShot(true);
    channel->m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&channel->m_timer, &QTimer::timeout, &channel->m_context, [raw = channel.get()] {
        raw->process(ARES_SOCKET_BAD, ARES_SOCKET_BAD);
    });
    liveChannels().insert(channel.get());
    return channel;
}

AresChannel::~AresChannel()
{
    liveChannels().remove(this);
    if (m_channel)
        ares_destroy(m_channel); // runs the callbacks still pending, and reports each socket closed
    for (auto &[socket, watch] : m_sockets) {
        retire(watch.read);
        retire(watch.write);
    }
}

void AresChannel::query(const QString &name, int type, ares_callback callback, void *argument)
{
    ares_query(m_channel, name.toUtf8().constData(), ns_c_in, type, callback, argument);
    rearm();
}

void AresChannel::addresses(const QString &name, ares_addrinfo_callback callback, void *argument)
{
    ares_addrinfo_hints hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    ares_getaddrinfo(m_channel, name.toUtf8().constData(), nullptr, &hints, callback, argument);
    rearm();
}

void AresChannel::cancelAll()
{
    // A callback may not free a channel (it only wakes its waiter), so the set holds still.
    const QSet<AresChannel *> channels = liveChannels();
    for (AresChannel *channel : channels) {
        ares_cancel(channel->m_channel);
        channel->rearm();
    }
}

void AresChannel::socketState(void *data, ares_socket_t socket, int readable, int writable)
{
    static_cast<AresChannel *>(data)->watch(socket, readable != 0, writable != 0);
}

void AresChannel::watch(ares_socket_t socket, bool readable, bool writable)
{
    Watch &watch = m_sockets[socket];
    const auto arm = [this, socket](QSocketNotifier *&notifier, QSocketNotifier::Type type, bool wanted) {
        if (!wanted) {
            retire(notifier);
            return;
        }
        if (notifier)
            return;
        notifier = new QSocketNotifier(socket, type);
        const bool read = type == QSocketNotifier::Read;
        QObject::connect(notifier, &QSocketNotifier::activated, &m_context, [this, socket, read] {
            process(read ? socket : ARES_SOCKET_BAD, read ? ARES_SOCKET_BAD : socket);
        });
    };
    arm(watch.read, QSocketNotifier::Read, readable);
    arm(watch.write, QSocketNotifier::Write, writable);
    if (!watch.read && !watch.write)
        m_sockets.erase(socket);
}

void AresChannel::process(ares_socket_t readable, ares_socket_t writable)
{
    ares_process_fd(m_channel, readable, writable);
    rearm();
}

void AresChannel::rearm()
{
    timeval wait{};
    if (ares_timeout(m_channel, nullptr, &wait)) {
        const auto ms = qint64(wait.tv_sec) * 1000 + (qint64(wait.tv_usec) + 999) / 1000;
        m_timer.start(std::chrono::milliseconds(ms));
    } else {
        m_timer.stop();
    }
}

} // namespace tw
