#pragma once

#include "kit/games/GameDefinition.h"

#include <QByteArray>

#include <optional>
#include <variant>

// The Steam server query's bytes: requests out, datagrams and replies in. No network here; the
// flows in A2SQuery put these on a UDP session. Every integer on the wire is little-endian.
namespace tw::A2SWire {

// One fragment of a reply too large for one datagram.
struct SplitPacket
{
    quint32 id = 0;
    int total = 0; // 1 to 32
    int number = 0; // from 0, below total
    QByteArray payload; // what follows the 12-byte split header
    bool operator==(const SplitPacket &) const = default;
};

// A simple packet is the whole datagram, its FF FF FF FF header included.
using Packet = std::variant<QByteArray, SplitPacket>;

constexpr quint32 noChallenge = 0xFFFFFFFF;

QByteArray infoRequest(std::optional<quint32> challenge);
QByteArray playerRequest(quint32 challenge);
// Throws A2SReplyError: "malformed reply" or "compressed reply not supported".
Packet parsePacket(const QByteArray &datagram);
// The counts and the server name; with countsInKeywords the "cp"/"mp" keywords that follow may
// replace the counts. Nothing when the reply cannot be read.
std::optional<GameFacts> parseInfo(const QByteArray &reply, bool countsInKeywords);
// The names in the order sent, empty ones included; a list cut short yields its whole entries.
std::optional<QStringList> parsePlayers(const QByteArray &reply);

struct KeywordCounts
{
    std::optional<qint64> current;
    std::optional<qint64> max;
    bool operator==(const KeywordCounts &) const = default;
};
// "cp5,mp100": servers that count players in their keywords rather than in the info counts.
KeywordCounts parseKeywordCounts(const QString &keywords);

} // namespace tw::A2SWire
