#include "TCPByteChannelFactory.h"

#include "kit/transport/Cancelled.h"
#include "kit/transport/TCPByteChannel.h"
#include "kit/transport/TransportError.h"
#include "kit/transport/Wakeup.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Connected = 1, Failed, Stopped };

} // namespace

QCoro::Task<std::unique_ptr<ByteChannel>> TCPByteChannelFactory::connect(QString host, quint16 port, StopToken stop)
{
    if (port == 0)
        throw ProviderError::misconfigured(u"port 0 out of range (1-65535)"_s);
    if (stop && stop->isStopped())
        throw Cancelled();
    TCPByteChannel::SocketPtr socket = TCPByteChannel::makeSocket();
    int why = 0;
    {
        Wakeup wakeup(m_timeout);
        wakeup.on(socket.get(), &QTcpSocket::connected, Connected).on(socket.get(), &QTcpSocket::errorOccurred, Failed);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        socket->connectToHost(host, port);
        why = co_await wakeup;
    }
    switch (why) {
    case Connected:
        break;
    case Stopped:
        throw Cancelled();
    case Failed:
        throw TransportError::classify(socket->error(), socket->errorString());
    default:
        throw ProviderError::upstream(u"timed out"_s);
    }
    co_return std::make_unique<TCPByteChannel>(std::move(socket), m_timeout, stop);
}

} // namespace tw
