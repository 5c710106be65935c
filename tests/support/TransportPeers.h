#pragma once

#include "kit/base/ProviderError.h"
#include "kit/base/StopSource.h"
#include "kit/transport/HTTPClient.h"
#include "support/Await.h"

#include <QNetworkDatagram>
#include <QUdpSocket>

namespace tw::test {

// One GET as a line a test can compare: "200 body", or the failure's text.
inline QString fetchText(HTTPClient &client, const QString &url)
{
    try {
        const HTTPResult result = await(client.data({QUrl(url), "GET", {}, {}}, makeStopToken()));
        return QString::number(result.response.statusCode) + u' ' + QString::fromUtf8(result.body);
    } catch (const ProviderError &error) {
        return error.description();
    }
}

// A UDP peer on 127.0.0.1 that answers the n-th datagram it gets with the n-th list of datagrams,
// and runs out into silence; with no script it only listens. It keeps what it was sent.
class ScriptedUdpPeer
{
public:
    explicit ScriptedUdpPeer(QList<QList<QByteArray>> script = {})
        : m_script(std::move(script))
    {
        m_socket.bind(QHostAddress::LocalHost, 0);
        QObject::connect(&m_socket, &QUdpSocket::readyRead, &m_socket, [this] {
            while (m_socket.hasPendingDatagrams()) {
                const QNetworkDatagram request = m_socket.receiveDatagram();
                m_received.append(request.data());
                for (const QByteArray &reply : m_script.value(m_received.size() - 1))
                    m_socket.writeDatagram(request.makeReply(reply));
            }
        });
    }
    quint16 port() const { return m_socket.localPort(); }
    const QList<QByteArray> &received() const { return m_received; }

private:
    QUdpSocket m_socket;
    QList<QList<QByteArray>> m_script;
    QList<QByteArray> m_received;
};

} // namespace tw::test
