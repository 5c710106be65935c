#pragma once

#include <QByteArray>
#include <QList>
#include <QUdpSocket>

#include <optional>

namespace tw::test {

// A Steam query server on 127.0.0.1, scripted: its info and player replies, whether it asks for a
// challenge, and how it splits its replies (order, repeats, a fragment of another reply, the
// compressed flag). Every datagram it gets is recorded.
class A2SResponder : public QObject
{
    Q_OBJECT
public:
    struct Info
    {
        QByteArray name = "Tidewatch test";
        QByteArray map = "de_dust2";
        QByteArray folder = "cs2";
        QByteArray game = "Counter-Strike 2";
        quint16 appID = 730;
        quint8 players = 2;
        quint8 maxPlayers = 16;
        quint8 bots = 0;
        QByteArray version = "1.40.4.1";
        std::optional<QByteArray> keywords; // sent with the 0x20 extra-data flag
        bool steamID = true; // sent with the 0x10 extra-data flag
    };
    struct Player
    {
        QByteArray name;
        qint32 score = 0;
        float seconds = 0;
    };
    enum class Challenge { None, Once, Forever };
    struct Split
    {
        int fragments = 0; // 0: one simple datagram
        QList<int> order; // fragment numbers as sent, repeats allowed; empty: 0, 1, 2, …
        int declaredTotal = 0; // 0: fragments
        bool compressed = false;
        int foreignAt = -1; // the datagram at this place in the order carries another reply's id
    };

    // Servers as the games' own send them.
    static Info valheimInfo();
    static Info rustInfo(); // 280 of 300 players, counts above 255 only in its keywords
    static Info cs2Info();
    static QList<Player> cs2Players(); // nameless, as Counter-Strike 2 keeps them

    explicit A2SResponder(quint16 port = 0);
    quint16 port() const { return m_socket.localPort(); }

    void setInfo(const Info &info) { m_info = info, m_rawInfo.reset(); }
    void setPlayers(const QList<Player> &players) { m_players = players; }
    // Exactly these bytes instead of the reply (split as set, if at all).
    void setRawInfo(const QByteArray &bytes) { m_rawInfo = bytes; }
    void setChallenge(Challenge challenge) { m_challenge = challenge; }
    void splitInfo(const Split &split) { m_infoSplit = split; }
    void silencePlayers(bool silent) { m_playersSilent = silent; }

    const QList<QByteArray> &received() const { return m_received; }
    int infoRequests() const;
    int playerRequests() const;

    static QByteArray infoReply(const Info &info);
    static QByteArray playerReply(const QList<Player> &players);
    static QList<QByteArray> fragments(const QByteArray &reply, const Split &split, quint32 id);

private:
    void answer(const QByteArray &request, const QHostAddress &to, quint16 port);
    void send(const QByteArray &reply, const Split &split, const QHostAddress &to, quint16 port);

    QUdpSocket m_socket;
    Info m_info;
    QList<Player> m_players{{"Alex", 12, 640.5f}, {"Noor", 3, 120.0f}};
    std::optional<QByteArray> m_rawInfo;
    Challenge m_challenge = Challenge::None;
    Split m_infoSplit;
    bool m_playersSilent = false;
    quint32 m_nextChallenge = 0x4A3B2C1D;
    quint32 m_nextID = 0x101;
    QList<QByteArray> m_received;
};

} // namespace tw::test
