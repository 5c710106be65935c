#pragma once

#include <QByteArray>
#include <QList>
#include <QTcpServer>

namespace tw::test {

// A Minecraft Java status responder on 127.0.0.1: answers a handshake and status request with the
// reply it is given (framed properly, or raw bytes for broken servers) and records what it got.
class MinecraftResponder : public QObject
{
    Q_OBJECT
public:
    explicit MinecraftResponder(quint16 port = 0);
    quint16 port() const { return m_server.serverPort(); }

    // A well-formed reply carrying this JSON.
    void replyWith(const QByteArray &json) { m_reply = frame(json); }
    // Exactly these bytes, whatever they are.
    void replyRaw(const QByteArray &bytes) { m_reply = bytes; }
    void staySilent() { m_reply.clear(); }
    const QList<QByteArray> &received() const { return m_received; }

    static QByteArray frame(const QByteArray &json, quint64 packetID = 0);

private:
    QTcpServer m_server;
    QByteArray m_reply;
    QList<QByteArray> m_received;
};

} // namespace tw::test
