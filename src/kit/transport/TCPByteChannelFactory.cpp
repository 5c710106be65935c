#include "TCPByteChannelFactory.h"

#include "kit/base/Cancelled.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/TCPByteChannel.h"
#include "kit/transport/TransportError.h"

#include <QElapsedTimer>

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
    // The look-up and the connection share the one bound; each address is tried in turn, as a
    // name with an IPv6 address the service does not listen on must still reach its IPv4 one.
    QElapsedTimer clock;
    clock.start();
    const QList<QHostAddress> addresses = co_await HostLookup::addresses(host, m_timeout, stop);
    for (qsizetype i = 0;; ++i) {
        const auto remaining = m_timeout - std::chrono::milliseconds(clock.elapsed());
        if (remaining.count() <= 0)
            throw ProviderError::failure(FailureKind::TimedOut);
        TCPByteChannel::SocketPtr socket = TCPByteChannel::makeSocket();
        int why = 0;
        {
            Wakeup wakeup(remaining);
            wakeup.on(socket.get(), &QTcpSocket::connected, Connected)
                .on(socket.get(), &QTcpSocket::errorOccurred, Failed);
            if (stop)
                wakeup.on(stop.get(), &StopSource::stopped, Stopped);
            socket->connectToHost(addresses.at(i), port);
            why = co_await wakeup;
        }
        switch (why) {
        case Connected:
            co_return std::make_unique<TCPByteChannel>(std::move(socket), m_timeout, stop);
        case Stopped:
            throw Cancelled();
        case Failed:
            if (i + 1 < addresses.size())
                continue;
            throw TransportError::classify(socket->error(), socket->errorString());
        default:
            throw ProviderError::failure(FailureKind::TimedOut);
        }
    }
}

} // namespace tw
