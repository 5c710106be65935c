#include "A2SWire.h"

#include "kit/games/A2SReplyError.h"
#include "kit/games/LooseJson.h"

#include <QStringDecoder>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace tw::A2SWire {

namespace {

const QByteArray header = QByteArray::fromHex("FFFFFFFF");

// A cursor over one reply that never reads past its end: every step says whether it could.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes)
        : m_bytes(bytes)
    { }

    qsizetype left() const { return m_bytes.size() - m_at; }
    bool skip(qsizetype count)
    {
        if (left() < count)
            return false;
        m_at += count;
        return true;
    }
    std::optional<quint8> byte()
    {
        if (left() < 1)
            return std::nullopt;
        return quint8(m_bytes.at(m_at++));
    }
    // A text ended by 00 inside the reply. Old servers send Latin-1 or cut a name in the middle of
    // a character: what does not decode becomes U+FFFD, as qstat and gamedig show it, rather than
    // costing the reply.
    std::optional<QString> text()
    {
        const qsizetype end = m_bytes.indexOf('\0', m_at);
        if (end < 0)
            return std::nullopt;
        const QString decoded = decodeLenient(QByteArrayView(m_bytes).sliced(m_at, end - m_at));
        m_at = end + 1;
        return decoded;
    }

    static QString decodeLenient(QByteArrayView bytes)
    {
        // A leading byte-order mark is part of the text, not an instruction to drop it.
        auto decode = QStringDecoder(QStringDecoder::Utf8,
                                     QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
        return decode(bytes);
    }

private:
    const QByteArray &m_bytes;
    qsizetype m_at = 0;
};

// The extra-data flags follow the version text; each flag adds its field, in this order.
std::optional<QString> readKeywords(Reader &reader)
{
    if (!reader.text()) // version
        return std::nullopt;
    const std::optional<quint8> flags = reader.byte();
    if (!flags)
        return std::nullopt;
    if ((*flags & 0x80) && !reader.skip(2)) // game port
        return std::nullopt;
    if ((*flags & 0x10) && !reader.skip(8)) // server's Steam id
        return std::nullopt;
    if (*flags & 0x40) { // spectator port and name
        if (!reader.skip(2) || !reader.text())
            return std::nullopt;
    }
    std::optional<QString> keywords;
    if (*flags & 0x20)
        keywords = reader.text();
    if ((*flags & 0x01) && reader.left() < 8) // game id
        return std::nullopt;
    return keywords;
}

} // namespace

QByteArray infoRequest(std::optional<quint32> challenge)
{
    QByteArray request = header + "T" + "Source Engine Query" + QByteArray(1, '\0');
    if (challenge) {
        char little[4];
        qToLittleEndian(*challenge, little);
        request.append(little, 4);
    }
    return request;
}

QByteArray playerRequest(quint32 challenge)
{
    QByteArray request = header + "U";
    char little[4];
    qToLittleEndian(challenge, little);
    request.append(little, 4);
    return request;
}

Packet parsePacket(const QByteArray &datagram)
{
    if (datagram.size() < 4)
        throw A2SReplyError::malformed();
    const quint32 kind = qFromLittleEndian<quint32>(datagram.constData());
    if (kind == 0xFFFFFFFF)
        return datagram;
    if (kind != 0xFFFFFFFE || datagram.size() < 12)
        throw A2SReplyError::malformed();
    if (quint8(datagram.at(7)) & 0x80)
        throw A2SReplyError::compressed();
    SplitPacket split;
    split.id = qFromLittleEndian<quint32>(datagram.constData() + 4);
    split.total = quint8(datagram.at(8));
    split.number = quint8(datagram.at(9));
    if (split.total < 1 || split.total > 32 || split.number >= split.total)
        throw A2SReplyError::malformed();
    split.payload = datagram.sliced(12);
    return split;
}

std::optional<GameFacts> parseInfo(const QByteArray &reply, bool countsInKeywords)
{
    if (!reply.startsWith(header) || reply.size() < 5 || quint8(reply.at(4)) != 0x49)
        return std::nullopt;
    Reader reader(reply);
    reader.skip(5);
    if (!reader.skip(1)) // protocol
        return std::nullopt;
    const std::optional<QString> name = reader.text();
    if (!name || !reader.text() || !reader.text() || !reader.text()) // map, folder, game
        return std::nullopt;
    if (!reader.skip(2)) // app id
        return std::nullopt;
    const std::optional<quint8> players = reader.byte();
    const std::optional<quint8> maxPlayers = reader.byte();
    // Bots, server type, environment, visibility, VAC: none is used, all must be there.
    if (!players || !maxPlayers || !reader.skip(5))
        return std::nullopt;
    GameFacts facts;
    facts.playersCurrent = *players;
    facts.playersMax = *maxPlayers;
    facts.detail = *name;
    if (!countsInKeywords)
        return facts;
    // Rust counts above 255 only in its keywords ("mp300,cp280,…"); a keyword field that is missing
    // or cut short leaves the info counts standing.
    if (const std::optional<QString> keywords = readKeywords(reader)) {
        const KeywordCounts counts = parseKeywordCounts(*keywords);
        if (counts.current)
            facts.playersCurrent = counts.current;
        if (counts.max)
            facts.playersMax = counts.max;
    }
    return facts;
}

std::optional<QStringList> parsePlayers(const QByteArray &reply)
{
    if (reply.size() < 6 || !reply.startsWith(header) || quint8(reply.at(4)) != 0x44)
        return std::nullopt;
    const int declared = quint8(reply.at(5));
    QStringList names;
    qsizetype at = 6;
    while (names.size() < declared) {
        const qsizetype nameStart = at + 1; // after the index byte
        if (nameStart >= reply.size())
            break;
        const qsizetype end = reply.indexOf('\0', nameStart);
        if (end < 0)
            break;
        // Score and duration follow the name; an entry without them is cut off, not kept.
        if (reply.size() - end < 9)
            break;
        names.append(Reader::decodeLenient(QByteArrayView(reply).sliced(nameStart, end - nameStart)));
        at = end + 9;
    }
    return names;
}

KeywordCounts parseKeywordCounts(const QString &keywords)
{
    KeywordCounts counts;
    for (const QStringView piece : QStringView(keywords).split(u',', Qt::SkipEmptyParts)) {
        const bool current = piece.startsWith(u"cp"_s);
        if (!current && !piece.startsWith(u"mp"_s))
            continue;
        const std::optional<qint64> value = LooseJson::intText(piece.sliced(2));
        if (value && *value >= 0)
            (current ? counts.current : counts.max) = value;
    }
    return counts;
}

} // namespace tw::A2SWire
