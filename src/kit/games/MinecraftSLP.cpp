#include "MinecraftSLP.h"

#include "kit/base/ProviderError.h"
#include "kit/games/LooseJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw::MinecraftSLP {

namespace {

const QString nilUUID = u"00000000-0000-0000-0000-000000000000"_s;

// The text of a chat component: a plain string, or an object's "text" followed by its "extra"
// parts (strings or components) in order. Deeper than any server nests is cut off.
QString componentText(const QJsonValue &component, int depth = 0)
{
    if (component.isString())
        return component.toString();
    if (!component.isObject() || depth > 32)
        return {};
    const QJsonObject object = component.toObject();
    QString text = object.value(u"text"_s).toString();
    for (const QJsonValue &part : object.value(u"extra"_s).toArray())
        text += componentText(part, depth + 1);
    return text;
}

} // namespace

QString stripFormatting(const QString &text)
{
    QString plain;
    plain.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text.at(at) == u'\u00A7') {
            ++at; // the code after it; a sign at the very end goes alone
            continue;
        }
        plain.append(text.at(at));
    }
    // A message of the day runs over two lines; the row has one.
    return plain.simplified();
}

bool wantsSRV(const QString &host, quint16 port)
{
    return port == 25565 && isSRVEligibleHost(host) && !host.toLower().endsWith(u".local"_s);
}

QCoro::Task<Target> resolveTarget(QString host, quint16 port, std::shared_ptr<SRVResolver> resolver, StopToken stop)
{
    if (!wantsSRV(host, port))
        co_return Target{host, port};
    const QString service = u"_minecraft._tcp."_s + host;
    const std::optional<SRVRecord> record = co_await resolver->resolve(service, std::chrono::seconds(2), stop);
    if (!record)
        co_return Target{host, port};
    co_return Target{record->host, record->port};
}

QByteArray encodeVarInt(quint64 value)
{
    QByteArray bytes;
    do {
        quint8 byte = value & 0x7f;
        value >>= 7;
        if (value)
            byte |= 0x80;
        bytes.append(char(byte));
    } while (value);
    return bytes;
}

QByteArray encodeStatusRequest(const QString &host, quint16 port)
{
    const QByteArray address = host.toUtf8();
    QByteArray handshake;
    handshake.append('\x00');
    handshake.append(encodeVarInt(754)); // a fixed protocol number: the server answers with its own
    handshake.append(encodeVarInt(quint64(address.size())));
    handshake.append(address);
    handshake.append(char(port >> 8));
    handshake.append(char(port & 0xff));
    handshake.append('\x01'); // next state: status
    return encodeVarInt(quint64(handshake.size())) + handshake + QByteArray("\x01\x00", 2);
}

QCoro::Task<quint64> readVarInt(ByteChannel &channel)
{
    quint64 result = 0;
    for (int index = 0;; ++index) {
        const QByteArray byte = co_await channel.read(1);
        const auto value = quint8(byte.at(0));
        result |= quint64(value & 0x7f) << (7 * index);
        if (!(value & 0x80))
            co_return result;
        if (index == 4)
            throw ProviderError::upstream(u"varint too long"_s);
    }
}

std::optional<GameFacts> parseStatus(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject root = document.object();
    const QJsonObject players = root.value(u"players"_s).toObject();
    const QJsonObject version = root.value(u"version"_s).toObject();
    GameFacts facts;
    facts.playersCurrent = LooseJson::intValue(players.value(u"online"_s));
    facts.playersMax = LooseJson::intValue(players.value(u"max"_s));
    // The sample counts only as a list of objects; one stray entry voids it.
    const QJsonValue sample = players.value(u"sample"_s);
    const QJsonArray list = sample.toArray();
    if (sample.isArray() && std::all_of(list.begin(), list.end(), [](const QJsonValue &v) { return v.isObject(); })) {
        // Servers fill the hover list with lines of text under the nil UUID; those are no players.
        QJsonArray realPlayers;
        for (const QJsonValue &entry : list) {
            if (entry.toObject().value(u"id"_s).toString() != nilUUID)
                realPlayers.append(entry);
        }
        facts.playerNames = LooseJson::playerNames(realPlayers);
    }
    // The version, as Bedrock's, with the message of the day where there is none; both without
    // their colour and style codes.
    facts.detail = stripFormatting(version.value(u"name"_s).toString());
    if (facts.detail.isEmpty())
        facts.detail = stripFormatting(componentText(root.value(u"description"_s)));
    return facts;
}

QCoro::Task<GameFacts> exchange(ByteChannel &channel, QString host, quint16 port)
{
    const QByteArray request = encodeStatusRequest(host, port);
    co_await channel.send(request);
    co_await readVarInt(channel); // the frame length is not needed
    if (co_await readVarInt(channel) != 0)
        throw ProviderError::upstream(u"unexpected packet id"_s);
    const quint64 length = co_await readVarInt(channel);
    if (length > quint64(maxReplyBytes))
        throw ProviderError::upstream(u"status reply too large"_s);
    const QByteArray json = co_await channel.read(qint64(length));
    const std::optional<GameFacts> facts = parseStatus(json);
    if (!facts)
        throw ProviderError::upstream(u"malformed reply"_s);
    co_return *facts;
}

} // namespace tw::MinecraftSLP
