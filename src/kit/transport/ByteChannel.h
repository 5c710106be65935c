#pragma once

#include "kit/base/StopSource.h"

#include <QByteArray>
#include <QCoroTask>

#include <memory>

namespace tw {

// A connected TCP stream. send() and read() throw a ProviderError of its failure kind (TimedOut,
// EndOfStream, …) or Cancelled once the stop token given at connect fired.
class ByteChannel
{
public:
    virtual ~ByteChannel() = default;
    virtual QCoro::Task<> send(QByteArray bytes) = 0;
    // Exactly `count` bytes; bytes beyond them stay buffered for the next read.
    virtual QCoro::Task<QByteArray> read(qint64 count) = 0;
    virtual void close() = 0;
};

class ByteChannelFactory
{
public:
    virtual ~ByteChannelFactory() = default;
    virtual QCoro::Task<std::unique_ptr<ByteChannel>> connect(QString host, quint16 port, StopToken stop) = 0;
};

} // namespace tw
