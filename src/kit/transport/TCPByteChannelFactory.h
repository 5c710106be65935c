#pragma once

#include "kit/transport/ByteChannel.h"

#include <chrono>

namespace tw {

// Opens TCP connections, bounded by `timeout`; a refused port is reported at once, not after it.
class TCPByteChannelFactory : public ByteChannelFactory
{
public:
    explicit TCPByteChannelFactory(std::chrono::milliseconds timeout = std::chrono::seconds(3))
        : m_timeout(timeout)
    { }

    QCoro::Task<std::unique_ptr<ByteChannel>> connect(QString host, quint16 port, StopToken stop) override;

private:
    std::chrono::milliseconds m_timeout;
};

} // namespace tw
