#include "LocalHttpServer.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

namespace tw::test {

LocalHttpServer::LocalHttpServer()
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
}

QString LocalHttpServer::url(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path);
}

void LocalHttpServer::serve(QTcpSocket *socket)
{
    QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0) {
        socket->setProperty("buffer", buffer);
        return;
    }
    Request request;
    request.head = buffer.left(end);
    const QList<QByteArray> line = request.head.left(request.head.indexOf("\r\n")).split(' ');
    request.method = line.value(0);
    request.path = line.value(1);
    qsizetype length = 0;
    for (const QByteArray &header : request.head.split('\n')) {
        if (header.toLower().startsWith("content-length:"))
            length = header.mid(15).trimmed().toLongLong();
    }
    if (buffer.size() < end + 4 + length) {
        socket->setProperty("buffer", buffer);
        return;
    }
    request.body = buffer.mid(end + 4, length);
    socket->setProperty("buffer", buffer.mid(end + 4 + length));
    m_requests.append(request);

    Reply reply;
    if (m_routes.contains(request.path))
        reply = m_routes.value(request.path);
    else if (m_fallback)
        reply = m_fallback(request);
    else
        reply.status = 404;
    answer(socket, reply);
}

void LocalHttpServer::answer(QTcpSocket *socket, const Reply &reply)
{
    if (reply.silent)
        return;
    if (reply.endless) {
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n\r\n");
        // Keep 256 KiB in flight: the client's reading, not this loop, sets the pace.
        const QByteArray chunk(64 * 1024, 'x');
        auto refill = [this, socket, chunk] {
            while (socket->state() == QAbstractSocket::ConnectedState && socket->bytesToWrite() < 256 * 1024) {
                socket->write(chunk);
                m_endlessBytes += chunk.size();
            }
        };
        connect(socket, &QTcpSocket::bytesWritten, socket, refill);
        refill();
        return;
    }
    if (reply.resetAfter >= 0) {
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n" + QByteArray(reply.resetAfter, 'x'));
        socket->flush();
        QTimer::singleShot(50, socket, [socket] { socket->abort(); });
        return;
    }
    const QByteArray body = reply.bodySize >= 0 ? QByteArray(reply.bodySize, 'x') : reply.body;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) + " Status\r\n";
    for (const auto &[name, value] : reply.headers)
        head += name + ": " + value + "\r\n";
    head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
    socket->write(head);
    if (reply.trickleMs <= 0) {
        socket->write(body);
        return;
    }
    // One byte per tick until the body is out or the client went away.
    auto *timer = new QTimer(socket);
    auto sent = std::make_shared<qsizetype>(0);
    QPointer<QTcpSocket> guard(socket);
    connect(timer, &QTimer::timeout, socket, [guard, timer, body, sent] {
        if (!guard || *sent >= body.size()) {
            timer->stop();
            return;
        }
        guard->write(body.mid((*sent)++, 1));
    });
    timer->start(reply.trickleMs);
}

} // namespace tw::test
