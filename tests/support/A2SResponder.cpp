#include "A2SResponder.h"

#include <QNetworkDatagram>
#include <QtEndian>

#include <cstring>

namespace tw::test {

namespace {

const QByteArray simpleHeader = QByteArray::fromHex("FFFFFFFF");
const QByteArray infoQuery = simpleHeader + "TSource Engine Query" + QByteArray(1, '\0');
const QByteArray playerQuery = simpleHeader + "U";

void appendLittle(QByteArray &bytes, quint32 value)
{
    char little[4];
    qToLittleEndian(value, little);
    bytes.append(little, 4);
}

} // namespace

A2SResponder::A2SResponder(quint16 port)
{
    m_socket.bind(QHostAddress::LocalHost, port);
    connect(&m_socket, &QUdpSocket::readyRead, this, [this] {
        while (m_socket.hasPendingDatagrams()) {
            const QNetworkDatagram request = m_socket.receiveDatagram();
            m_received.append(request.data());
            answer(request.data(), request.senderAddress(), quint16(request.senderPort()));
        }
    });
}

A2SResponder::Info A2SResponder::valheimInfo()
{
    return {.name = "Viking Hall",
            .map = "Viking Hall",
            .folder = "valheim",
            .game = "Valheim",
            .appID = 0,
            .players = 3,
            .maxPlayers = 10,
            .version = "0.219.16",
            .keywords = "0.219.16,hc,pvp",
            .steamID = true};
}

A2SResponder::Info A2SResponder::rustInfo()
{
    // As a Rust server of 280 players out of 300 answers: the count bytes stop at 255, the real
    // counts stand in its keywords (compressed the way the server writes them), and its version
    // text is the network protocol number.
    return {.name = "Tidewatch Rust | Monthly",
            .map = "Procedural Map",
            .folder = "rust",
            .game = "Rust",
            .appID = 0,
            .players = 255,
            .maxPlayers = 255,
            .version = "2583",
            .keywords = "mp300,cp280,ptrak,qp0,$reu1,v2583,^w,^v,^e,EU,born1763800000,gmrust,cs123128,^o^z",
            .steamID = true};
}

A2SResponder::Info A2SResponder::cs2Info()
{
    Info info;
    info.name = "Tidewatch CS2 Retakes";
    info.players = 4;
    info.maxPlayers = 12;
    info.bots = 2;
    return info;
}

QList<A2SResponder::Player> A2SResponder::cs2Players()
{
    return {{""}, {""}, {""}, {""}};
}

int A2SResponder::infoRequests() const
{
    return int(std::count_if(m_received.begin(), m_received.end(), [](const QByteArray &r) {
        return r.startsWith(infoQuery);
    }));
}

int A2SResponder::playerRequests() const
{
    return int(std::count_if(m_received.begin(), m_received.end(), [](const QByteArray &r) {
        return r.size() == 9 && r.startsWith(playerQuery);
    }));
}

void A2SResponder::answer(const QByteArray &request, const QHostAddress &to, quint16 port)
{
    const bool isInfo = request.startsWith(infoQuery);
    const bool isPlayers = request.size() == 9 && request.startsWith(playerQuery);
    if (!isInfo && !isPlayers)
        return; // like a real server: a stranger's datagram gets nothing
    if (isPlayers && m_playersSilent)
        return;
    const QByteArray given = isInfo ? request.mid(infoQuery.size(), 4) : request.mid(5, 4);
    QByteArray expected;
    appendLittle(expected, m_nextChallenge);
    const bool mustChallenge =
        m_challenge == Challenge::Forever || (m_challenge == Challenge::Once && given != expected);
    if (mustChallenge) {
        if (m_challenge == Challenge::Forever)
            ++m_nextChallenge;
        QByteArray challenge = simpleHeader + "A";
        appendLittle(challenge, m_nextChallenge);
        m_socket.writeDatagram(challenge, to, port);
        return;
    }
    if (isInfo)
        send(m_rawInfo ? *m_rawInfo : infoReply(m_info), m_infoSplit, to, port);
    else
        send(playerReply(m_players), {}, to, port);
}

void A2SResponder::send(const QByteArray &reply, const Split &split, const QHostAddress &to, quint16 port)
{
    if (split.fragments == 0) {
        m_socket.writeDatagram(reply, to, port);
        return;
    }
    for (const QByteArray &datagram : fragments(reply, split, m_nextID++))
        m_socket.writeDatagram(datagram, to, port);
}

QList<QByteArray> A2SResponder::fragments(const QByteArray &reply, const Split &split, quint32 id)
{
    const int count = split.fragments;
    const qsizetype chunk = (reply.size() + count - 1) / count;
    QList<int> order = split.order;
    if (order.isEmpty()) {
        for (int number = 0; number < count; ++number)
            order.append(number);
    }
    QList<QByteArray> datagrams;
    for (int at = 0; at < order.size(); ++at) {
        const int number = order.at(at);
        const QByteArray payload = reply.mid(number * chunk, chunk);
        QByteArray datagram = QByteArray::fromHex("FEFFFFFF");
        quint32 thisID = at == split.foreignAt ? id + 0x1000 : id;
        if (split.compressed)
            thisID |= 0x80000000u;
        appendLittle(datagram, thisID);
        datagram.append(char(split.declaredTotal ? split.declaredTotal : count));
        datagram.append(char(number));
        char size[2];
        qToLittleEndian(quint16(1248), size);
        datagram.append(size, 2);
        datagrams.append(datagram + payload);
    }
    return datagrams;
}

QByteArray A2SResponder::infoReply(const Info &info)
{
    QByteArray bytes = simpleHeader + "I";
    bytes.append(char(17)); // protocol
    for (const QByteArray *text : {&info.name, &info.map, &info.folder, &info.game})
        bytes += *text + QByteArray(1, '\0');
    char appID[2];
    qToLittleEndian(info.appID, appID);
    bytes.append(appID, 2);
    bytes.append(char(info.players));
    bytes.append(char(info.maxPlayers));
    bytes.append(char(info.bots));
    bytes += QByteArray::fromHex("646C0001"); // dedicated, Linux, public, VAC
    bytes += info.version + QByteArray(1, '\0');
    quint8 flags = 0x80 | 0x01; // game port, game id
    if (info.steamID)
        flags |= 0x10;
    if (info.keywords)
        flags |= 0x20;
    bytes.append(char(flags));
    char field[8];
    qToLittleEndian(quint16(27015), field);
    bytes.append(field, 2);
    if (info.steamID) {
        qToLittleEndian(quint64(90071992547409920ull), field);
        bytes.append(field, 8);
    }
    if (info.keywords)
        bytes += *info.keywords + QByteArray(1, '\0');
    qToLittleEndian(quint64(info.appID), field);
    bytes.append(field, 8);
    return bytes;
}

QByteArray A2SResponder::playerReply(const QList<Player> &players)
{
    QByteArray bytes = simpleHeader + "D";
    bytes.append(char(players.size()));
    for (int index = 0; index < players.size(); ++index) {
        const Player &player = players.at(index);
        bytes.append(char(index));
        bytes += player.name + QByteArray(1, '\0');
        char field[4];
        qToLittleEndian(player.score, field);
        bytes.append(field, 4);
        quint32 bits = 0;
        std::memcpy(&bits, &player.seconds, 4);
        qToLittleEndian(bits, field);
        bytes.append(field, 4);
    }
    return bytes;
}

} // namespace tw::test
