#pragma once

#include "kit/games/GameDefinition.h"
#include "kit/transport/ByteChannel.h"
#include "kit/transport/SRVResolver.h"

#include <QByteArray>
#include <QJsonValue>

// The status side of the Minecraft Java protocol over one TCP connection: a handshake, a status
// request, one framed JSON reply.
namespace tw::MinecraftSLP {

inline constexpr qint64 maxReplyBytes = 524288;

struct Target
{
    QString host;
    quint16 port = 0;
    bool operator==(const Target &) const = default;
};

// Whether a DNS SRV record is asked for: only for names (not address literals) outside ".local"
// on the default port.
bool wantsSRV(const QString &host, quint16 port);
// Where to connect: the SRV record's target when there is one, else what the user gave.
QCoro::Task<Target> resolveTarget(QString host, quint16 port, std::shared_ptr<SRVResolver> resolver, StopToken stop);

// The text without its "§" colour and style codes, on one line.
QString stripFormatting(const QString &text);

QByteArray encodeVarInt(quint64 value);
QByteArray encodeStatusRequest(const QString &host, quint16 port);
// Throws ProviderError "varint too long" after five bytes.
QCoro::Task<quint64> readVarInt(ByteChannel &channel);
std::optional<GameFacts> parseStatus(const QByteArray &json);
// Throws ProviderError: "unexpected packet id", "status reply too large", "malformed reply", or the
// channel's own texts.
QCoro::Task<GameFacts> exchange(ByteChannel &channel, QString host, quint16 port);

} // namespace tw::MinecraftSLP
