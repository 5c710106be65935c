#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>

#include <functional>
#include <memory>

namespace tw::test {

struct TestCertificate;

// A small HTTP/1.1 server on 127.0.0.1 for transport and provider tests. Each path answers as told:
// a status, headers and a body, optionally trickled byte by byte, or never at all. Every request
// is recorded with its raw head so a test can check what was sent.
class LocalHttpServer : public QObject
{
    Q_OBJECT
public:
    struct Reply
    {
        int status = 200;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;
        int trickleMs = 0; // > 0: one body byte per interval
        bool silent = false; // accept the request and never answer
        qint64 bodySize = -1; // >= 0: a body of this many 'x' instead of `body`
        bool endless = false; // a body that never ends (no Content-Length), as fast as the client reads
        qint64 resetAfter = -1; // >= 0: send this many body bytes of a longer body, then reset
        bool trickleHead = false; // with trickleMs: the status line and headers trickle too
        bool noLength = false; // no Content-Length: the body ends with the connection
        bool resetAtEnd = false; // with noLength: the connection ends in a TCP reset, not a close
    };
    struct Request
    {
        QByteArray method;
        QByteArray path;
        QByteArray head; // request line and headers, as received
        QByteArray body;
    };

    LocalHttpServer();
    // Speaks https with this certificate (a client must trust it to get through).
    explicit LocalHttpServer(const TestCertificate &certificate);
    quint16 port() const { return m_server->serverPort(); }
    QString url(const QString &path) const;

    void route(const QByteArray &path, Reply reply) { m_routes.insert(path, std::move(reply)); }
    // Answers every path the routes do not know.
    void fallback(std::function<Reply(const Request &)> answer) { m_fallback = std::move(answer); }
    const QList<Request> &requests() const { return m_requests; }
    // As a proxy: a CONNECT request is answered 200 and its connection piped to this port of 127.0.0.1.
    void tunnelTo(quint16 port) { m_tunnelPort = port; }
    // Body bytes written by endless replies so far.
    qint64 endlessBytes() const { return m_endlessBytes; }

private:
    void serve(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const Reply &reply);
    void accept(QTcpSocket *socket);
    void tunnel(QTcpSocket *socket);
    // Ends the connection with RST rather than FIN, as a crashed or killed server does.
    static void reset(QTcpSocket *socket);

    std::unique_ptr<QTcpServer> m_server;
    bool m_tls = false;
    quint16 m_tunnelPort = 0;
    QHash<QByteArray, Reply> m_routes;
    std::function<Reply(const Request &)> m_fallback;
    QList<Request> m_requests;
    qint64 m_endlessBytes = 0;
};

} // namespace tw::test
