#include "BedrockPing.h"

#include "kit/monitor/ProviderError.h"

#include <QStringDecoder>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace tw::BedrockPing {

namespace {

const QByteArray magic = QByteArray::fromHex("00FFFF00FEFEFEFEFDFDFDFD12345678");

std::optional<qint64> count(const QString &field)
{
    const QStringView digits =
        field.startsWith(u'+') || field.startsWith(u'-') ? QStringView(field).sliced(1) : QStringView(field);
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return std::nullopt;
    bool ok = false;
    const qint64 value = field.toLongLong(&ok, 10);
    return ok ? std::optional(value) : std::nullopt;
}

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
    facts.playersCurrent = count(fields.value(4));
    facts.playersMax = count(fields.value(5));
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
