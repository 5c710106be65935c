#include "TCPByteChannel.h"

#include "kit/base/Cancelled.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/TransportError.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Failed = 1, Stopped, Ready, Closed };

} // namespace

TCPByteChannel::SocketPtr TCPByteChannel::makeSocket()
{
    return SocketPtr(new QTcpSocket, [](QTcpSocket *socket) {
        // A polite close: the peer sees the end of the stream, not a reset that may drop what we sent.
        socket->disconnectFromHost();
        socket->deleteLater();
    });
}

TCPByteChannel::TCPByteChannel(SocketPtr socket, std::chrono::milliseconds timeout, StopToken stop)
    : m_socket(std::move(socket))
    , m_timeout(timeout)
    , m_stop(std::move(stop))
{ }

TCPByteChannel::~TCPByteChannel() = default;

QCoro::Task<> TCPByteChannel::send(QByteArray bytes)
{
    if (m_socket->state() != QAbstractSocket::ConnectedState)
        throw ProviderError::failure(FailureKind::EndOfStream);
    if (m_socket->write(bytes) != bytes.size())
        throw TransportError::classify(m_socket->error(), m_socket->errorString());
    // Done once the bytes are handed to the system, so that a close right after loses nothing.
    while (m_socket->bytesToWrite() > 0) {
        Wakeup wakeup(m_timeout);
        wakeup.on(m_socket.get(), &QTcpSocket::bytesWritten, Ready)
            .on(m_socket.get(), &QTcpSocket::errorOccurred, Failed)
            .on(m_socket.get(), &QTcpSocket::disconnected, Closed);
        if (m_stop)
            wakeup.on(m_stop.get(), &StopSource::stopped, Stopped);
        const int why = co_await wakeup;
        if (why == Stopped)
            throw Cancelled();
        if (why == Wakeup::Timeout)
            throw ProviderError::failure(FailureKind::TimedOut);
        if (why == Failed)
            throw TransportError::classify(m_socket->error(), m_socket->errorString());
        if (why == Closed)
            throw ProviderError::failure(FailureKind::EndOfStream);
    }
}

QCoro::Task<> TCPByteChannel::receive()
{
    if (m_socket->bytesAvailable() == 0) {
        if (m_socket->state() != QAbstractSocket::ConnectedState)
            throw ProviderError::failure(FailureKind::EndOfStream);
        Wakeup wakeup(m_timeout);
        wakeup.on(m_socket.get(), &QTcpSocket::readyRead, Ready)
            .on(m_socket.get(), &QTcpSocket::disconnected, Closed)
            .on(m_socket.get(), &QTcpSocket::errorOccurred, Failed);
        if (m_stop)
            wakeup.on(m_stop.get(), &StopSource::stopped, Stopped);
        const int why = co_await wakeup;
        if (why == Stopped) {
            m_socket->abort();
            throw Cancelled();
        }
        if (why == Wakeup::Timeout) {
            m_socket->abort();
            throw ProviderError::failure(FailureKind::TimedOut);
        }
        if (m_socket->bytesAvailable() == 0) {
            if (why == Failed && m_socket->error() != QAbstractSocket::RemoteHostClosedError)
                throw TransportError::classify(m_socket->error(), m_socket->errorString());
            throw ProviderError::failure(FailureKind::EndOfStream);
        }
    }
    m_buffer.append(m_socket->read(receiveChunk));
}

QCoro::Task<QByteArray> TCPByteChannel::read(qint64 count)
{
    Q_ASSERT(count >= 0);
    while (m_buffer.size() < count)
        co_await receive();
    QByteArray head = m_buffer.first(count);
    m_buffer.remove(0, count);
    co_return head;
}

void TCPByteChannel::close()
{
    m_socket->disconnectFromHost();
}

} // namespace tw
