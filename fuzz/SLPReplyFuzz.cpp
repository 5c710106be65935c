// Plays arbitrary bytes as a Minecraft server's whole answer to a status request: the reader must
// end in facts or a ProviderError, never ask for more than the reply limit in one read, and never
// read past what the framing announced.
#include "kit/base/ProviderError.h"
#include "kit/games/MinecraftSLP.h"

#include <cstdint>
#include <cstdlib>

namespace {

// Hands out the fuzzed stream; every call completes without suspending, so the exchange runs to
// its end inside LLVMFuzzerTestOneInput without an event loop.
class StreamChannel : public tw::ByteChannel
{
public:
    explicit StreamChannel(QByteArray stream)
        : m_stream(std::move(stream))
    { }
    QCoro::Task<> send(QByteArray) override { co_return; }
    QCoro::Task<QByteArray> read(qint64 count) override
    {
        if (count > tw::MinecraftSLP::maxReplyBytes)
            std::abort();
        if (m_stream.size() - m_position < count)
            throw tw::ProviderError::failure(tw::FailureKind::EndOfStream);
        QByteArray bytes = m_stream.sliced(m_position, count);
        m_position += count;
        co_return bytes;
    }
    void close() override { }

private:
    QByteArray m_stream;
    qsizetype m_position = 0;
};

QCoro::Task<> play(QByteArray stream, bool &finished)
{
    StreamChannel channel(std::move(stream));
    try {
        const tw::GameFacts facts = co_await tw::MinecraftSLP::exchange(channel, QStringLiteral("mc.example"), 25565);
        if (facts.playerNames.contains(QString()))
            std::abort(); // empty names are never kept
    } catch (const tw::ProviderError &) { }
    finished = true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    bool finished = false;
    play(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)), finished);
    if (!finished)
        std::abort(); // something waited although every read was ready
    return 0;
}
