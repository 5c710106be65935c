// Plays arbitrary datagrams as a Steam query server's answer: the first is read as a packet and, if
// it is a fragment, the rest are put together with it. Each datagram is two little-endian length
// bytes and that many bytes. The reassembly must end in one reply with a single FF FF FF FF header
// and no more than the reply limit, or in the protocol's own errors, after at most 32 datagrams,
// and the reply must hold the fragments' payloads in their numbered order.
#include "kit/base/ProviderError.h"
#include "kit/games/A2SQuery.h"
#include "kit/games/A2SReplyError.h"

#include <QtEndian>

#include <cstdint>
#include <cstdlib>
#include <map>

namespace {

class ScriptedSession : public tw::UDPSession
{
public:
    explicit ScriptedSession(QList<QByteArray> datagrams)
        : m_datagrams(std::move(datagrams))
    { }
    QCoro::Task<> send(QByteArray) override { co_return; }
    QCoro::Task<QByteArray> receive() override
    {
        if (m_next >= m_datagrams.size())
            throw tw::ProviderError::failure(tw::FailureKind::TimedOut);
        ++m_received;
        co_return m_datagrams.at(m_next++);
    }
    void close() override { }
    int received() const { return m_received; }

private:
    QList<QByteArray> m_datagrams;
    qsizetype m_next = 0;
    int m_received = 0;
};

QList<QByteArray> datagramsOf(const QByteArray &bytes)
{
    QList<QByteArray> datagrams;
    qsizetype at = 0;
    while (bytes.size() - at >= 2) {
        const qsizetype length = qFromLittleEndian<quint16>(bytes.constData() + at);
        at += 2;
        datagrams.append(bytes.sliced(at, std::min(length, bytes.size() - at)));
        at += datagrams.last().size();
    }
    return datagrams;
}

// What the reply must be when the fragments are all there: every number's last payload, in order.
QByteArray expectedReply(const QList<QByteArray> &datagrams, const tw::A2SWire::SplitPacket &first, int used)
{
    std::map<int, QByteArray> parts;
    for (int i = 0; i < used; ++i) {
        const auto packet = tw::A2SWire::parsePacket(datagrams.at(i));
        const auto &split = std::get<tw::A2SWire::SplitPacket>(packet);
        parts[split.number] = split.payload;
    }
    QByteArray joined;
    for (int number = 0; number < first.total; ++number)
        joined += parts.at(number);
    if (joined.startsWith(QByteArray::fromHex("FFFFFFFF")))
        joined.remove(0, 4);
    return QByteArray::fromHex("FFFFFFFF") + joined;
}

QCoro::Task<> play(QList<QByteArray> datagrams, bool &finished)
{
    if (datagrams.isEmpty()) {
        finished = true;
        co_return;
    }
    ScriptedSession session(datagrams.sliced(1));
    try {
        const tw::A2SWire::Packet packet = tw::A2SWire::parsePacket(datagrams.first());
        const auto *first = std::get_if<tw::A2SWire::SplitPacket>(&packet);
        if (!first) {
            finished = true;
            co_return;
        }
        const QByteArray reply =
            co_await tw::A2SQuery::reassemble(*first, session, tw::A2SQuery::Clock::now() + std::chrono::hours(1));
        if (!reply.startsWith(QByteArray::fromHex("FFFFFFFF")) || reply.size() > 4 + 65536)
            std::abort();
        if (reply != expectedReply(datagrams, *first, 1 + session.received()))
            std::abort();
    } catch (const tw::A2SReplyError &) {
    } catch (const tw::ProviderError &) { }
    if (session.received() > 31)
        std::abort(); // 32 datagrams in all, the first included
    finished = true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    bool finished = false;
    play(datagramsOf(bytes), finished);
    if (!finished)
        std::abort(); // the session never suspends, so the reassembly must have ended
    return 0;
}
