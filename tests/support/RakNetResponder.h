#pragma once

#include <QByteArray>
#include <QList>
#include <QUdpSocket>

namespace tw::test {

// A Minecraft Bedrock server's offline side on 127.0.0.1: answers each RakNet unconnected ping with
// an unconnected pong carrying the status text it is given, echoing the ping's time as real servers
// do. Datagrams that are not a ping are recorded and left unanswered, like a server would.
class RakNetResponder : public QObject
{
    Q_OBJECT
public:
    explicit RakNetResponder(quint16 port = 0);
    quint16 port() const { return m_socket.localPort(); }

    // "MCPE;motd;protocol;version;online;max;…"
    void replyWith(const QByteArray &statusText) { m_text = statusText, m_raw.reset(); }
    // Exactly these bytes to every ping, whatever they are (an empty datagram included).
    void replyRaw(const QByteArray &bytes) { m_raw = bytes; }
    void staySilent() { m_silent = true; }
    // Some RakNet implementations send a time of their own rather than the ping's.
    void echoTime(bool echo) { m_echoTime = echo; }
    const QList<QByteArray> &received() const { return m_received; }

    static QByteArray pong(const QByteArray &statusText, quint64 time = 0, quint64 serverID = 0x1122334455667788);
    static const QByteArray magic;

private:
    QUdpSocket m_socket;
    QByteArray m_text = "MCPE;Tidewatch test;712;1.21.2;0;10;1;world;Survival;1;19132;19133;";
    std::optional<QByteArray> m_raw;
    bool m_silent = false;
    bool m_echoTime = true;
    QList<QByteArray> m_received;
};

} // namespace tw::test
