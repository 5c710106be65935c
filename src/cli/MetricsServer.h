#pragma once

#include <QHostAddress>
#include <QObject>
#include <QTcpServer>

#include <functional>
#include <optional>

class QTcpSocket;

namespace tw {

// A small HTTP/1.0 server with one page, /metrics, for a Prometheus scraper. Each request is read
// whole within a bounded size and time, answered, and the connection closed: a scraper asks every
// few seconds and needs nothing more.
class MetricsServer : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype maxRequestBytes = 8 * 1024;
    static constexpr int requestTimeoutMs = 5000;

    explicit MetricsServer(std::function<QByteArray()> page, QObject *parent = nullptr);

    // The error's text when the address cannot be bound.
    std::optional<QString> listen(const QHostAddress &address, quint16 port);
    quint16 port() const { return m_server.serverPort(); }

    // "9100" (loopback), "0.0.0.0:9100", "[::1]:9100"; port 0 takes any free one. Nothing for text that
    // is none of these.
    static std::optional<std::pair<QHostAddress, quint16>> parseAddress(const QString &text);

private:
    void accept();
    void answer(QTcpSocket *socket);

    std::function<QByteArray()> m_page;
    QTcpServer m_server;
};

} // namespace tw
