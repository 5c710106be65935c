#include "MinecraftResponder.h"

#include "kit/games/MinecraftSLP.h"

#include <QTcpSocket>

namespace tw::test {

MinecraftResponder::MinecraftResponder(quint16 port)
{
    m_server.listen(QHostAddress::LocalHost, port);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            m_received.append(QByteArray());
            const qsizetype index = m_received.size() - 1;
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket, index] {
                m_received[index] += socket->readAll();
                // Handshake and status request end with the two bytes 01 00.
                if (m_received[index].endsWith(QByteArray("\x01\x00", 2)) && !m_reply.isEmpty())
                    socket->write(m_reply);
            });
        }
    });
}

QByteArray MinecraftResponder::frame(const QByteArray &json, quint64 packetID)
{
    const QByteArray body =
        MinecraftSLP::encodeVarInt(packetID) + MinecraftSLP::encodeVarInt(quint64(json.size())) + json;
    return MinecraftSLP::encodeVarInt(quint64(body.size())) + body;
}

} // namespace tw::test
