#pragma once

#include "kit/games/A2SWire.h"
#include "kit/transport/UDPSession.h"

#include <chrono>

// The Steam query of one port: info, the challenge if the server sets one, split replies put
// together, then the player list where the game has one. Throws ProviderError for silence and
// refusals (the probe tries the next port) and A2SReplyError for a reply that breaks the protocol
// (the probe stops there).
namespace tw::A2SQuery {

using Clock = std::chrono::steady_clock;

struct Limits
{
    std::chrono::milliseconds receive = std::chrono::seconds(2); // each datagram
    std::chrono::milliseconds overall = std::chrono::seconds(10); // info and players together
};

struct InfoExchange
{
    QByteArray reply;
    std::optional<quint32> challenge; // the one in force when the answer came
};

QCoro::Task<GameFacts> queryServer(QString host,
                                   quint16 port,
                                   GameDefinition definition,
                                   std::shared_ptr<UDPTransport> udp,
                                   StopToken stop,
                                   Limits limits = {});

QCoro::Task<InfoExchange> exchangeInfo(UDPSession &session, Clock::time_point deadline);
QCoro::Task<QByteArray> exchangePlayers(UDPSession &session, Clock::time_point deadline, quint32 challenge);
// The whole reply from whichever fragment came first, with one FF FF FF FF header in front.
QCoro::Task<QByteArray> reassemble(A2SWire::SplitPacket first, UDPSession &session, Clock::time_point deadline);

} // namespace tw::A2SQuery
