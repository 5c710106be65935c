#include "ICMPEcho.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSocketNotifier>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tw::ICMPEcho {

namespace {

enum Reason { Readable = 1, Stopped };

constexpr quint8 echoRequestV4 = 8;
constexpr quint8 echoReplyV4 = 0;
constexpr quint8 echoRequestV6 = 128;
constexpr quint8 echoReplyV6 = 129;
constexpr int headerSize = 8;
constexpr int payloadSize = 16;

struct OwnedDescriptor
{
    int fd = -1;
    OwnedDescriptor() = default;
    OwnedDescriptor(const OwnedDescriptor &) = delete;
    OwnedDescriptor &operator=(const OwnedDescriptor &) = delete;
    ~OwnedDescriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

ProviderError systemError(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return ProviderError::upstream(QString::fromLatin1(notPermittedText));
    case ENETUNREACH:
    case EHOSTUNREACH:
    case EHOSTDOWN:
        return ProviderError::failure(FailureKind::HostUnreachable);
    default:
        return ProviderError::upstream(QString::fromLocal8Bit(std::strerror(error)));
    }
}

// The kernel fills in the identifier and the checksum of a ping socket's requests.
QByteArray request(bool v6, quint16 sequence, const QByteArray &payload)
{
    QByteArray packet(headerSize, '\0');
    packet[0] = char(v6 ? echoRequestV6 : echoRequestV4);
    packet[6] = char(sequence >> 8);
    packet[7] = char(sequence & 0xff);
    return packet + payload;
}

bool isReplyTo(const QByteArray &datagram, bool v6, quint16 sequence, const QByteArray &payload)
{
    if (datagram.size() != headerSize + payload.size())
        return false;
    const auto byte = [&](int i) {
        return quint8(datagram.at(i));
    };
    return byte(0) == (v6 ? echoReplyV6 : echoReplyV4) && byte(1) == 0 && ((byte(6) << 8) | byte(7)) == sequence
        && datagram.mid(headerSize) == payload;
}

} // namespace

QCoro::Task<EchoOutcome> ping(QHostAddress address, int count, std::chrono::milliseconds replyTimeout, StopToken stop)
{
    if (stop && stop->isStopped())
        throw Cancelled();
    const bool v6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    OwnedDescriptor socket;
    socket.fd = ::socket(v6 ? AF_INET6 : AF_INET,
                         SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC,
                         v6 ? int(IPPROTO_ICMPV6) : int(IPPROTO_ICMP));
    if (socket.fd < 0)
        throw systemError(errno);

    sockaddr_storage target{};
    socklen_t targetSize = 0;
    if (v6) {
        auto *in6 = reinterpret_cast<sockaddr_in6 *>(&target);
        in6->sin6_family = AF_INET6;
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(&in6->sin6_addr, &bytes, sizeof bytes);
        // A link-local address names its interface: "fe80::1%eth0" or by number.
        const QString scope = address.scopeId();
        bool numbered = false;
        in6->sin6_scope_id = scope.toUInt(&numbered);
        if (!numbered && !scope.isEmpty())
            in6->sin6_scope_id = ::if_nametoindex(scope.toLocal8Bit().constData());
        targetSize = sizeof(sockaddr_in6);
    } else {
        auto *in4 = reinterpret_cast<sockaddr_in *>(&target);
        in4->sin_family = AF_INET;
        in4->sin_addr.s_addr = htonl(address.toIPv4Address());
        targetSize = sizeof(sockaddr_in);
    }
    // Connected, so the kernel hands this socket only the replies of this host.
    if (::connect(socket.fd, reinterpret_cast<const sockaddr *>(&target), targetSize) != 0)
        throw systemError(errno);

    // Declared after the descriptor, so it stops watching before the descriptor closes.
    QSocketNotifier notifier(qintptr(socket.fd), QSocketNotifier::Read);
    EchoOutcome outcome;
    double totalMs = 0;
    const quint16 firstSequence = quint16(QRandomGenerator::global()->bounded(0x10000));
    for (int i = 0; i < count; ++i) {
        const quint16 sequence = quint16(firstSequence + i);
        QByteArray payload(payloadSize, '\0');
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(payload.data()), payloadSize / 4);
        const QByteArray packet = request(v6, sequence, payload);
        QElapsedTimer clock;
        clock.start();
        if (::send(socket.fd, packet.constData(), size_t(packet.size()), 0) < 0)
            throw systemError(errno);
        ++outcome.sent;
        bool answered = false;
        while (!answered) {
            const auto left = replyTimeout - std::chrono::milliseconds(clock.elapsed());
            if (left <= std::chrono::milliseconds(0))
                break;
            int why = 0;
            {
                Wakeup wakeup(left);
                wakeup.on(&notifier, &QSocketNotifier::activated, Readable);
                if (stop)
                    wakeup.on(stop.get(), &StopSource::stopped, Stopped);
                why = co_await wakeup;
            }
            if (why == Stopped)
                throw Cancelled();
            if (why != Readable)
                break;
            char buffer[512];
            for (;;) {
                const ssize_t n = ::recv(socket.fd, buffer, sizeof buffer, 0);
                if (n < 0) {
                    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
                        break;
                    // An ICMP error the host's router sent back for this socket.
                    throw systemError(errno);
                }
                if (!answered && isReplyTo(QByteArray(buffer, n), v6, sequence, payload)) {
                    answered = true;
                    totalMs += double(clock.nsecsElapsed()) / 1e6;
                    ++outcome.answered;
                }
            }
        }
    }
    if (outcome.answered > 0)
        outcome.averageMs = totalMs / outcome.answered;
    co_return outcome;
}

} // namespace tw::ICMPEcho
