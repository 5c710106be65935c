#include "UDPSession.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/TransportError.h"

#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QUdpSocket>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Connected = 1, Failed, Stopped, Ready };

struct DeleteLater
{
    void operator()(QUdpSocket *socket) const
    {
        socket->abort();
        socket->deleteLater();
    }
};
using SocketPtr = std::unique_ptr<QUdpSocket, DeleteLater>;

// Datagrams are taken off the socket the moment Qt announces them, not when receive() gets round to
// it: a readyRead that nobody waits for (the reply came while the caller was busy elsewhere) is
// otherwise gone, and with it the only sign of an ICMP "port unreachable", which Qt reports as a
// readyRead with nothing to read.
class SocketUDPSession : public UDPSession
{
public:
    SocketUDPSession(SocketPtr socket, std::chrono::milliseconds timeout, StopToken stop)
        : m_socket(std::move(socket))
        , m_timeout(timeout)
        , m_stop(std::move(stop))
    {
        QObject::connect(m_socket.get(), &QUdpSocket::readyRead, &m_context, [this] { take(true); });
        take(false);
    }

    QCoro::Task<> send(QByteArray datagram) override
    {
        if (m_ended)
            throw ProviderError::failure(*m_ended);
        if (m_socket->write(datagram) != datagram.size())
            throw TransportError::classify(m_socket->error(), m_socket->errorString());
        co_return;
    }

    QCoro::Task<QByteArray> receive() override
    {
        // A session that timed out or was closed stays so: fail at once rather than wait again.
        if (m_ended)
            throw ProviderError::failure(*m_ended);
        if (m_stop && m_stop->isStopped())
            throw Cancelled();
        int why = Ready;
        if (m_arrived.isEmpty() && !m_refused) {
            Wakeup wakeup(m_timeout);
            wakeup.on(m_socket.get(), &QUdpSocket::readyRead, Ready)
                .on(m_socket.get(), &QUdpSocket::errorOccurred, Failed);
            if (m_stop)
                wakeup.on(m_stop.get(), &StopSource::stopped, Stopped);
            why = co_await wakeup;
            if (why == Stopped)
                throw Cancelled();
            if (why == Wakeup::Timeout) {
                m_socket->abort();
                m_ended = FailureKind::TimedOut;
                throw ProviderError::failure(*m_ended);
            }
        }
        if (!m_arrived.isEmpty()) {
            const QByteArray datagram = m_arrived.takeFirst();
            if (datagram.isEmpty())
                throw ProviderError::failure(FailureKind::EmptyReply);
            co_return datagram;
        }
        if (why == Failed && m_socket->error() != QAbstractSocket::ConnectionRefusedError)
            throw TransportError::classify(m_socket->error(), m_socket->errorString());
        throw ProviderError::failure(FailureKind::ConnectionRefused);
    }

    void close() override
    {
        m_socket->abort();
        if (!m_ended)
            m_ended = FailureKind::Closed;
    }

private:
    // The longest reply of any protocol here is a split one of 32 datagrams; a flood beyond that
    // is dropped rather than held.
    static constexpr qsizetype maxWaiting = 64;

    void take(bool announced)
    {
        bool any = false;
        while (m_socket->hasPendingDatagrams()) {
            const QByteArray data = m_socket->receiveDatagram().data();
            if (m_arrived.size() < maxWaiting)
                m_arrived.append(data);
            any = true;
        }
        if (announced && !any)
            m_refused = true;
    }

    SocketPtr m_socket;
    std::chrono::milliseconds m_timeout;
    StopToken m_stop;
    QList<QByteArray> m_arrived;
    bool m_refused = false;
    std::optional<FailureKind> m_ended;
    QObject m_context; // last, so its connection ends before anything it touches goes
};

} // namespace

QCoro::Task<std::unique_ptr<UDPSession>>
SocketUDPTransport::open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop)
{
    if (port == 0)
        throw ProviderError::misconfigured(u"port 0 out of range (1-65535)"_s);
    if (stop && stop->isStopped())
        throw Cancelled();
    QElapsedTimer clock;
    clock.start();
    const QHostAddress address = co_await HostLookup::resolve(host, timeout, stop);
    const auto remaining = std::max(timeout - std::chrono::milliseconds(clock.elapsed()), std::chrono::milliseconds(1));
    SocketPtr socket(new QUdpSocket);
    int why = 0;
    {
        // "Connecting" fixes the peer; no packet is exchanged yet.
        Wakeup wakeup(remaining);
        wakeup.on(socket.get(), &QUdpSocket::connected, Connected).on(socket.get(), &QUdpSocket::errorOccurred, Failed);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        socket->connectToHost(address, port);
        why = socket->state() == QAbstractSocket::ConnectedState ? Connected : co_await wakeup;
    }

    if (why == Stopped)
        throw Cancelled();
    if (why == Failed)
        throw TransportError::classify(socket->error(), socket->errorString());
    if (why == Wakeup::Timeout)
        throw ProviderError::failure(FailureKind::TimedOut);
    co_return std::make_unique<SocketUDPSession>(std::move(socket), timeout, stop);
}

} // namespace tw
