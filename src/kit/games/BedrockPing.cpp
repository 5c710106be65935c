#include "BedrockPing.h"

#include "kit/base/ProviderError.h"
#include "kit/games/LooseJson.h"

#include <QStringDecoder>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace tw::BedrockPing {

namespace {

const QByteArray magic = QByteArray::fromHex("00FFFF00FEFEFEFEFDFDFDFD12345678");

} // namespace

QByteArray buildPing(quint64 time, quint64 clientID)
{
    QByteArray ping(1, '\x01');
    char big[8];
    qToBigEndian(time, big);
    ping.append(big, 8);
    ping.append(magic);
    qToBigEndian(clientID, big);
    ping.append(big, 8);
    return ping;
}

std::optional<GameFacts> parsePong(const QByteArray &datagram)
{
    if (datagram.size() < 35 || quint8(datagram.at(0)) != 0x1C || datagram.mid(17, 16) != magic)
        return std::nullopt;
    const qsizetype length = qFromBigEndian<quint16>(datagram.constData() + 33);
    // A length beyond the datagram is cut to what arrived, not refused.
    const qsizetype end = std::min<qsizetype>(35 + length, datagram.size());
    if (end < 36)
        return std::nullopt;
    auto decode = QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(datagram.sliced(35, end - 35));
    if (decode.hasError())
        return std::nullopt;
    const QStringList fields = text.split(u';');
    GameFacts facts;
    facts.playersCurrent = LooseJson::intText(fields.value(4));
    facts.playersMax = LooseJson::intText(fields.value(5));
    facts.detail = !fields.value(3).isEmpty() ? fields.value(3) : fields.value(1);
    return facts;
}

QCoro::Task<GameFacts> ping(QString host, quint16 port, std::shared_ptr<UDPTransport> udp, StopToken stop)
{
    std::unique_ptr<UDPSession> session = co_await udp->open(host, port, std::chrono::seconds(2), stop);
    const QByteArray request = buildPing();
    co_await session->send(request);
    const QByteArray reply = co_await session->receive();
    session->close();
    const std::optional<GameFacts> facts = parsePong(reply);
    if (!facts)
        throw ProviderError::upstream(u"malformed reply"_s);
    co_return *facts;
}

} // namespace tw::BedrockPing
