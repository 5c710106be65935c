#include "RakNetResponder.h"

#include <QNetworkDatagram>
#include <QtEndian>

namespace tw::test {

const QByteArray RakNetResponder::magic = QByteArray::fromHex("00FFFF00FEFEFEFEFDFDFDFD12345678");

RakNetResponder::RakNetResponder(quint16 port)
{
    m_socket.bind(QHostAddress::LocalHost, port);
    connect(&m_socket, &QUdpSocket::readyRead, this, [this] {
        while (m_socket.hasPendingDatagrams()) {
            const QNetworkDatagram request = m_socket.receiveDatagram();
            const QByteArray bytes = request.data();
            m_received.append(bytes);
            // Unconnected ping (0x01) or its "open connections" twin (0x02): id, time, magic, client id.
            const bool isPing =
                bytes.size() >= 33 && (bytes.at(0) == 0x01 || bytes.at(0) == 0x02) && bytes.mid(9, 16) == magic;
            if (!isPing || m_silent)
                continue;
            const quint64 time = m_echoTime ? qFromBigEndian<quint64>(bytes.constData() + 1) : 0x0badf00d;
            m_socket.writeDatagram(request.makeReply(m_raw ? *m_raw : pong(m_text, time)));
        }
    });
}

QByteArray RakNetResponder::pong(const QByteArray &statusText, quint64 time, quint64 serverID)
{
    QByteArray bytes(1, '\x1c');
    char field[8];
    qToBigEndian(time, field);
    bytes.append(field, 8);
    qToBigEndian(serverID, field);
    bytes.append(field, 8);
    bytes += magic;
    qToBigEndian(quint16(statusText.size()), field);
    bytes.append(field, 2);
    return bytes + statusText;
}

} // namespace tw::test
