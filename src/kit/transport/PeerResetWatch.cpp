#include "PeerResetWatch.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tw {

PeerResetWatch::~PeerResetWatch()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void PeerResetWatch::watch(qintptr descriptor)
{
    if (m_descriptor >= 0 || descriptor < 0)
        return;
    m_descriptor = ::fcntl(int(descriptor), F_DUPFD_CLOEXEC, 0);
}

bool PeerResetWatch::wasReset() const
{
    if (m_descriptor < 0)
        return false;
    tcp_info info{};
    socklen_t size = sizeof info;
    if (::getsockopt(m_descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
        return false;
    // A close from the peer leaves the socket waiting for ours; only a reset (or our own abort,
    // which the caller knows of) takes it straight to closed.
    return info.tcpi_state == TCP_CLOSE;
}

} // namespace tw
