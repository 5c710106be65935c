#pragma once

#include "kit/transport/ByteChannel.h"

#include <QTcpSocket>

#include <chrono>
#include <memory>

namespace tw {

// A connected QTcpSocket. Each receive waits at most the factory's timeout; a stream that stalls
// fails as TimedOut, one the peer closed as EndOfStream.
class TCPByteChannel : public ByteChannel
{
public:
    // Sockets are released with deleteLater(): one may be inside its own signal emission.
    using SocketPtr = std::unique_ptr<QTcpSocket, void (*)(QTcpSocket *)>;
    static SocketPtr makeSocket();

    TCPByteChannel(SocketPtr socket, std::chrono::milliseconds timeout, StopToken stop);
    ~TCPByteChannel() override;

    QCoro::Task<> send(QByteArray bytes) override;
    QCoro::Task<QByteArray> read(qint64 count) override;
    void close() override;

    static constexpr qint64 receiveChunk = 4096;

private:
    QCoro::Task<> receive();

    SocketPtr m_socket;
    std::chrono::milliseconds m_timeout;
    StopToken m_stop;
    QByteArray m_buffer;
};

} // namespace tw
