#include "UDPSession.h"

#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "kit/transport/TransportError.h"
#include "kit/transport/Wakeup.h"

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

class SocketUDPSession : public UDPSession
{
public:
    SocketUDPSession(SocketPtr socket, std::chrono::milliseconds timeout, StopToken stop)
        : m_socket(std::move(socket))
        , m_timeout(timeout)
        , m_stop(std::move(stop))
    { }

    QCoro::Task<> send(QByteArray datagram) override
    {
        if (m_socket->write(datagram) != datagram.size())
            throw TransportError::classify(m_socket->error(), m_socket->errorString());
        co_return;
    }

    QCoro::Task<QByteArray> receive() override
    {
        if (!m_socket->hasPendingDatagrams()) {
            Wakeup wakeup(m_timeout);
            wakeup.on(m_socket.get(), &QUdpSocket::readyRead, Ready)
                .on(m_socket.get(), &QUdpSocket::errorOccurred, Failed);
            if (m_stop)
                wakeup.on(m_stop.get(), &StopSource::stopped, Stopped);
            const int why = co_await wakeup;
            if (why == Stopped)
                throw Cancelled();
            if (why == Wakeup::Timeout) {
                m_socket->abort();
                throw ProviderError::upstream(u"timed out"_s);
            }
            if (!m_socket->hasPendingDatagrams()) {
                // A wake-up with nothing to read is how a refusal (ICMP "port unreachable") can show.
                if (why == Failed && m_socket->error() != QAbstractSocket::ConnectionRefusedError)
                    throw TransportError::classify(m_socket->error(), m_socket->errorString());
                throw ProviderError::upstream(u"connection refused"_s);
            }
        }
        const QNetworkDatagram datagram = m_socket->receiveDatagram();
        if (datagram.data().isEmpty())
            throw ProviderError::upstream(u"empty reply"_s);
        co_return datagram.data();
    }

    void close() override { m_socket->abort(); }

private:
    SocketPtr m_socket;
    std::chrono::milliseconds m_timeout;
    StopToken m_stop;
};

} // namespace

QCoro::Task<std::unique_ptr<UDPSession>>
SocketUDPTransport::open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop)
{
    if (port == 0)
        throw ProviderError::misconfigured(u"port 0 out of range (1-65535)"_s);
    SocketPtr socket(new QUdpSocket);
    int why = 0;
    {
        // "Connecting" resolves the name and fixes the peer; no packet is exchanged yet.
        Wakeup wakeup(timeout);
        wakeup.on(socket.get(), &QUdpSocket::connected, Connected).on(socket.get(), &QUdpSocket::errorOccurred, Failed);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        socket->connectToHost(host, port);
        why = socket->state() == QAbstractSocket::ConnectedState ? Connected : co_await wakeup;
    }

    if (why == Stopped)
        throw Cancelled();
    if (why == Failed)
        throw TransportError::classify(socket->error(), socket->errorString());
    if (why == Wakeup::Timeout)
        throw ProviderError::upstream(u"timed out"_s);
    co_return std::make_unique<SocketUDPSession>(std::move(socket), timeout, stop);
}

} // namespace tw
