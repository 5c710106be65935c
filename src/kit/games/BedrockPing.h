#pragma once

#include "kit/games/GameDefinition.h"
#include "kit/transport/UDPSession.h"

// Minecraft Bedrock's RakNet unconnected ping: one datagram out, one back with a text of
// semicolon-separated fields. No player names: the protocol has none.
namespace tw::BedrockPing {

QByteArray buildPing(quint64 time = 0, quint64 clientID = 0x0123456789ABCDEFull);
std::optional<GameFacts> parsePong(const QByteArray &datagram);
// Throws ProviderError: "malformed reply", or the session's own texts.
QCoro::Task<GameFacts> ping(QString host, quint16 port, std::shared_ptr<UDPTransport> udp, StopToken stop);

} // namespace tw::BedrockPing
