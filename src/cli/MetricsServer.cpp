#include "MetricsServer.h"

#include "cli/MetricsPage.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QByteArray reply(const QByteArray &status, const QByteArray &type, const QByteArray &body, bool withBody)
{
    QByteArray out = "HTTP/1.0 " + status + "\r\nContent-Type: " + type
        + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n";
    if (withBody)
        out += body;
    return out;
}

} // namespace

MetricsServer::MetricsServer(std::function<QByteArray()> page, QObject *parent)
    : QObject(parent)
    , m_page(std::move(page))
{
    connect(&m_server, &QTcpServer::newConnection, this, &MetricsServer::accept);
}

std::optional<QString> MetricsServer::listen(const QHostAddress &address, quint16 port)
{
    if (m_server.listen(address, port))
        return std::nullopt;
    return m_server.errorString();
}

std::optional<std::pair<QHostAddress, quint16>> MetricsServer::parseAddress(const QString &text)
{
    QString host = u"127.0.0.1"_s;
    QString portText = text;
    if (text.startsWith(u'[')) {
        const qsizetype close = text.indexOf(u"]:"_s);
        if (close < 0)
            return std::nullopt;
        host = text.mid(1, close - 1);
        portText = text.mid(close + 2);
    } else if (const qsizetype colon = text.lastIndexOf(u':'); colon >= 0) {
        host = text.left(colon);
        portText = text.mid(colon + 1);
    }
    bool ok = false;
    const uint port = portText.toUInt(&ok);
    const QHostAddress address(host);
    if (!ok || port > 65535 || address.isNull())
        return std::nullopt;
    return std::pair{address, quint16(port)};
}

void MetricsServer::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        // A client that never finishes its request is let go.
        QTimer::singleShot(requestTimeoutMs, socket, [socket] { socket->abort(); });
    }
}

void MetricsServer::answer(QTcpSocket *socket)
{
    if (socket->property("answered").toBool())
        return;
    const QByteArray seen = socket->peek(maxRequestBytes + 1);
    const qsizetype end = seen.indexOf("\r\n\r\n");
    if (end < 0) {
        if (seen.size() > maxRequestBytes)
            socket->abort();
        return;
    }
    socket->setProperty("answered", true);
    const QList<QByteArray> requestLine = seen.left(seen.indexOf("\r\n")).split(' ');
    const QByteArray method = requestLine.value(0);
    const QByteArray path = requestLine.value(1).split('?').value(0);
    const bool head = method == "HEAD";
    if (method != "GET" && !head)
        socket->write(reply("405 Method Not Allowed", "text/plain", "Only GET and HEAD are served.\n", true));
    else if (path != "/metrics")
        socket->write(reply("404 Not Found", "text/plain", "The metrics are at /metrics.\n", !head));
    else
        socket->write(reply("200 OK", MetricsPage::contentType, m_page(), !head));
    socket->disconnectFromHost();
}

} // namespace tw
