#include "UnixSignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace tw {

namespace {

int s_pipe[2] = {-1, -1};

} // namespace

UnixSignalWatcher::UnixSignalWatcher(const QList<int> &signals, QObject *parent)
    : QObject(parent)
    , m_signals(signals)
{
    if (s_pipe[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_pipe) != 0)
        return;
    m_notifier = new QSocketNotifier(s_pipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignalWatcher::drain);
    for (int sig : signals) {
        struct sigaction action = {};
        action.sa_handler = &UnixSignalWatcher::handle;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        ::sigaction(sig, &action, nullptr);
    }
}

UnixSignalWatcher::~UnixSignalWatcher()
{
    for (int sig : std::as_const(m_signals))
        ::signal(sig, SIG_DFL);
}

void UnixSignalWatcher::handle(int signal)
{
    // Only async-signal-safe work here: one byte through the socket pair.
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(s_pipe[0], &byte, 1);
}

void UnixSignalWatcher::drain()
{
    char byte = 0;
    if (::read(s_pipe[1], &byte, 1) == 1)
        Q_EMIT received(static_cast<int>(static_cast<unsigned char>(byte)));
}

} // namespace tw
