#include "LocalHttpServer.h"

#include "support/LocalTlsServer.h"

#include <QPointer>
#include <QSslConfiguration>
#include <QSslServer>
#include <QTcpSocket>
#include <QTimer>

#include <sys/socket.h>

namespace tw::test {

LocalHttpServer::LocalHttpServer()
    : m_server(std::make_unique<QTcpServer>())
{
    m_server->listen(QHostAddress::LocalHost, 0);
    connect(m_server.get(), &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection())
            accept(socket);
    });
}

LocalHttpServer::LocalHttpServer(const TestCertificate &certificate)
    : m_tls(true)
{
    auto server = std::make_unique<QSslServer>();
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificate.certificate);
    configuration.setPrivateKey(certificate.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    server->setSslConfiguration(configuration);
    // A TLS connection is handed over once its handshake is done.
    connect(server.get(), &QSslServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection())
            accept(socket);
    });
    m_server = std::move(server);
    m_server->listen(QHostAddress::LocalHost, 0);
}

void LocalHttpServer::accept(QTcpSocket *socket)
{
    socket->setParent(this);
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
}

QString LocalHttpServer::url(const QString &path) const
{
    return QStringLiteral("%1://127.0.0.1:%2%3")
        .arg(m_tls ? QStringLiteral("https") : QStringLiteral("http"))
        .arg(m_server->serverPort())
        .arg(path);
}

void LocalHttpServer::reset(QTcpSocket *socket)
{
    const linger hard{1, 0};
    ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    socket->abort();
}

void LocalHttpServer::tunnel(QTcpSocket *socket)
{
    // From here on the connection carries someone else's bytes both ways.
    disconnect(socket, &QTcpSocket::readyRead, this, nullptr);
    auto *upstream = new QTcpSocket(socket);
    connect(upstream, &QTcpSocket::connected, socket, [socket] {
        socket->write("HTTP/1.1 200 Connection established\r\n\r\n");
    });
    connect(upstream, &QTcpSocket::readyRead, socket, [socket, upstream] { socket->write(upstream->readAll()); });
    connect(socket, &QTcpSocket::readyRead, upstream, [socket, upstream] { upstream->write(socket->readAll()); });
    connect(upstream, &QTcpSocket::disconnected, socket, [socket] { socket->disconnectFromHost(); });
    connect(socket, &QTcpSocket::disconnected, upstream, [upstream] { upstream->disconnectFromHost(); });
    upstream->connectToHost(QHostAddress::LocalHost, m_tunnelPort);
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
    if (request.method == "CONNECT" && m_tunnelPort != 0) {
        tunnel(socket);
        return;
    }

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
    if (!reply.noLength)
        head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    head += "\r\n";
    if (reply.noLength) {
        socket->write(head + body);
        socket->flush();
        // The bytes reach the client before the connection ends, as they would from a server that
        // wrote its reply and then died.
        QTimer::singleShot(50, socket, [socket, resetAtEnd = reply.resetAtEnd] {
            if (resetAtEnd)
                reset(socket);
            else
                socket->disconnectFromHost();
        });
        return;
    }
    if (reply.trickleMs <= 0) {
        socket->write(head + body);
        return;
    }
    // One byte per tick until the reply is out or the client went away.
    const QByteArray trickled = reply.trickleHead ? head + body : body;
    if (!reply.trickleHead)
        socket->write(head);
    auto *timer = new QTimer(socket);
    auto sent = std::make_shared<qsizetype>(0);
    QPointer<QTcpSocket> guard(socket);
    connect(timer, &QTimer::timeout, socket, [guard, timer, trickled, sent] {
        if (!guard || *sent >= trickled.size()) {
            timer->stop();
            return;
        }
        guard->write(trickled.mid((*sent)++, 1));
    });
    timer->start(reply.trickleMs);
}

} // namespace tw::test
