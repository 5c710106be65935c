// The Minecraft status protocol's framing, both ways. Arbitrary bytes are read as a run of VarInts
// (each at most five bytes, never more than 35 bits, re-encoded to the same value), and the host
// and port taken from the input are framed as a status request that must read back field by field:
// frame length, packet id, protocol, host length, host, port, next state, then the status request.
#include "kit/base/ProviderError.h"
#include "kit/games/MinecraftSLP.h"

#include <cstdint>
#include <cstdlib>

namespace {

// Hands out the bytes; every call completes at once, so a coroutine runs to its end without an
// event loop.
class StreamChannel : public tw::ByteChannel
{
public:
    explicit StreamChannel(QByteArray stream)
        : m_stream(std::move(stream))
    { }
    QCoro::Task<> send(QByteArray) override { co_return; }
    QCoro::Task<QByteArray> read(qint64 count) override
    {
        if (count < 0 || m_stream.size() - m_position < count)
            throw tw::ProviderError::failure(tw::FailureKind::EndOfStream);
        QByteArray bytes = m_stream.sliced(m_position, count);
        m_position += count;
        co_return bytes;
    }
    void close() override { }
    qsizetype position() const { return m_position; }
    bool atEnd() const { return m_position == m_stream.size(); }

private:
    QByteArray m_stream;
    qsizetype m_position = 0;
};

// Runs a task that never suspends and hands back its value.
template<typename T>
T run(QCoro::Task<T> task)
{
    std::optional<T> value;
    std::exception_ptr failure;
    [](QCoro::Task<T> inner, std::optional<T> &out, std::exception_ptr &error) -> QCoro::Task<> {
        try {
            out = co_await std::move(inner);
        } catch (...) {
            error = std::current_exception();
        }
    }(std::move(task), value, failure);
    if (failure)
        std::rethrow_exception(failure);
    if (!value)
        std::abort(); // suspended: the channel never does
    return *value;
}

void readVarInts(const QByteArray &bytes)
{
    StreamChannel channel(bytes);
    for (;;) {
        const qsizetype start = channel.position();
        quint64 value = 0;
        try {
            value = run(tw::MinecraftSLP::readVarInt(channel));
        } catch (const tw::ProviderError &) {
            if (channel.position() - start > 5)
                std::abort();
            return;
        }
        if (channel.position() - start > 5 || value >= (quint64(1) << 35))
            std::abort();
        StreamChannel again(tw::MinecraftSLP::encodeVarInt(value));
        if (run(tw::MinecraftSLP::readVarInt(again)) != value || !again.atEnd())
            std::abort();
    }
}

void frameRequest(const QByteArray &bytes)
{
    if (bytes.size() < 2)
        return;
    const auto port = quint16(quint8(bytes.at(0)) << 8 | quint8(bytes.at(1)));
    const QString host = QString::fromUtf8(bytes.sliced(2));
    const QByteArray address = host.toUtf8();
    StreamChannel channel(tw::MinecraftSLP::encodeStatusRequest(host, port));
    const quint64 frame = run(tw::MinecraftSLP::readVarInt(channel));
    const qsizetype frameStart = channel.position();
    if (run(tw::MinecraftSLP::readVarInt(channel)) != 0 || run(tw::MinecraftSLP::readVarInt(channel)) != 754)
        std::abort();
    if (run(tw::MinecraftSLP::readVarInt(channel)) != quint64(address.size()))
        std::abort();
    if (run(channel.read(address.size())) != address)
        std::abort();
    const QByteArray tail = run(channel.read(3));
    if (quint8(tail.at(0)) << 8 != (port & 0xff00) || quint8(tail.at(1)) != (port & 0xff) || tail.at(2) != 1)
        std::abort();
    if (quint64(channel.position() - frameStart) != frame)
        std::abort();
    if (run(channel.read(2)) != QByteArray("\x01\x00", 2) || !channel.atEnd())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    readVarInts(bytes);
    frameRequest(bytes);
    return 0;
}
