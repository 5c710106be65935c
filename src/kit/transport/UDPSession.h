#pragma once

#include "kit/base/StopSource.h"

#include <QByteArray>
#include <QCoroTask>

#include <chrono>
#include <memory>

namespace tw {

// One question, one datagram back: the UDP side of the game protocols. receive() throws
// a ProviderError of its failure kind (TimedOut, ConnectionRefused, EmptyReply, …) or Cancelled.
class UDPSession
{
public:
    virtual ~UDPSession() = default;
    virtual QCoro::Task<> send(QByteArray datagram) = 0;
    virtual QCoro::Task<QByteArray> receive() = 0;
    virtual void close() = 0;
};

class UDPTransport
{
public:
    virtual ~UDPTransport() = default;
    virtual QCoro::Task<std::unique_ptr<UDPSession>>
    open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop) = 0;
};

// Over a connected QUdpSocket, so that an ICMP "port unreachable" reads as a refusal at once.
class SocketUDPTransport : public UDPTransport
{
public:
    QCoro::Task<std::unique_ptr<UDPSession>>
    open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop) override;
};

} // namespace tw
