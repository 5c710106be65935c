#include "A2SQuery.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/games/A2SReplyError.h"

#include <QtEndian>

#include <functional>
#include <map>

using namespace Qt::StringLiterals;

namespace tw::A2SQuery {

namespace {

// One answer to a challenge too many and the server is taken to be looping.
constexpr int maxChallengeRetries = 3;
constexpr int maxDatagrams = 32;
constexpr qsizetype maxReplyBytes = 65536;

void checkDeadline(Clock::time_point deadline)
{
    if (Clock::now() >= deadline)
        throw ProviderError::failure(FailureKind::TimedOut);
}

QCoro::Task<QByteArray> receiveReply(UDPSession &session, Clock::time_point deadline)
{
    checkDeadline(deadline);
    const QByteArray datagram = co_await session.receive();
    A2SWire::Packet packet = A2SWire::parsePacket(datagram);
    if (auto *split = std::get_if<A2SWire::SplitPacket>(&packet)) {
        const A2SWire::SplitPacket first = std::move(*split);
        co_return co_await reassemble(first, session, deadline);
    }
    co_return std::get<QByteArray>(std::move(packet));
}

using Request = std::function<QByteArray(std::optional<quint32> challenge)>;

// Info and players share the dance: ask, and while the server answers with a challenge, ask again
// with it — at most three times.
QCoro::Task<InfoExchange>
exchange(UDPSession &session, Clock::time_point deadline, Request request, std::optional<quint32> challenge)
{
    int retries = 0;
    QByteArray bytes = request(challenge);
    co_await session.send(bytes);
    for (;;) {
        QByteArray reply = co_await receiveReply(session, deadline);
        if (reply.size() < 5 || quint8(reply.at(4)) != 0x41)
            co_return InfoExchange{std::move(reply), challenge};
        if (reply.size() < 9)
            throw A2SReplyError::malformed();
        if (retries == maxChallengeRetries)
            throw A2SReplyError::challengeLoop();
        challenge = qFromLittleEndian<quint32>(reply.constData() + 5);
        ++retries;
        bytes = request(challenge);
        co_await session.send(bytes);
    }
}

} // namespace

QCoro::Task<InfoExchange> exchangeInfo(UDPSession &session, Clock::time_point deadline)
{
    const Request request = [](std::optional<quint32> challenge) {
        return A2SWire::infoRequest(challenge);
    };
    co_return co_await exchange(session, deadline, request, std::nullopt);
}

QCoro::Task<QByteArray> exchangePlayers(UDPSession &session, Clock::time_point deadline, quint32 challenge)
{
    const Request request = [](std::optional<quint32> next) {
        return A2SWire::playerRequest(next.value_or(A2SWire::noChallenge));
    };
    InfoExchange answered = co_await exchange(session, deadline, request, challenge);
    co_return std::move(answered.reply);
}

QCoro::Task<QByteArray> reassemble(A2SWire::SplitPacket first, UDPSession &session, Clock::time_point deadline)
{
    std::map<int, QByteArray> parts{{first.number, first.payload}};
    qsizetype size = first.payload.size();
    int received = 1;
    while (qsizetype(parts.size()) < first.total) {
        checkDeadline(deadline);
        const QByteArray datagram = co_await session.receive();
        const A2SWire::Packet packet = A2SWire::parsePacket(datagram);
        const auto *split = std::get_if<A2SWire::SplitPacket>(&packet);
        // Another query's fragment or a simple packet in the middle of a reply: give it up.
        if (!split || split->id != first.id || split->total != first.total)
            throw A2SReplyError::malformed();
        size += split->payload.size(); // repeats count too: they cost as much to take in
        if (size > maxReplyBytes)
            throw A2SReplyError::tooLarge();
        parts[split->number] = split->payload;
        if (qsizetype(parts.size()) >= first.total)
            break;
        if (++received == maxDatagrams)
            throw A2SReplyError::malformed();
    }
    QByteArray joined;
    joined.reserve(size);
    for (int number = 0; number < first.total; ++number) {
        const auto part = parts.find(number);
        if (part == parts.end())
            throw A2SReplyError::malformed();
        joined += part->second;
    }
    const QByteArray header = QByteArray::fromHex("FFFFFFFF");
    if (joined.startsWith(header))
        joined.remove(0, 4);
    co_return header + joined;
}

QCoro::Task<GameFacts> queryServer(QString host,
                                   quint16 port,
                                   GameDefinition definition,
                                   std::shared_ptr<UDPTransport> udp,
                                   StopToken stop,
                                   Limits limits)
{
    const Clock::time_point deadline = Clock::now() + limits.overall;
    std::unique_ptr<UDPSession> session = co_await udp->open(host, port, limits.receive, stop);
    // Closed on every way out, a failure included.
    const std::unique_ptr<UDPSession, std::function<void(UDPSession *)>> closing(session.get(),
                                                                                 [](UDPSession *s) { s->close(); });
    const InfoExchange info = co_await exchangeInfo(*session, deadline);
    std::optional<GameFacts> facts = A2SWire::parseInfo(info.reply, definition.playerCountInKeywords);
    if (!facts)
        throw A2SReplyError::malformed();
    if (!definition.queriesPlayers)
        co_return *facts;

    std::optional<QStringList> names;
    try {
        const QByteArray reply =
            co_await exchangePlayers(*session, deadline, info.challenge.value_or(A2SWire::noChallenge));
        names = A2SWire::parsePlayers(reply);
    } catch (const Cancelled &) {
        throw;
    } catch (...) {
        // The server answered its info: a player list that does not come is no reason to call it down.
    }
    if (names && !names->isEmpty()) {
        for (const QString &name : std::as_const(*names)) {
            if (!name.isEmpty())
                facts->playerNames.append(name);
        }
        if (!definition.playerCountInKeywords)
            facts->playersCurrent = names->size();
    }
    co_return *facts;
}

} // namespace tw::A2SQuery
