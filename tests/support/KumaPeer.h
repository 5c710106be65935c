#pragma once

#include "support/LocalHttpServer.h"

#include <QJsonArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace tw::test {

// An Uptime Kuma server on 127.0.0.1 as its own router and metrics writer answer: the public status
// page (its monitor list and its heartbeat list, the slug read in lower case), and /metrics behind
// Basic authentication with an API key as the password, the labels written and escaped as prom-client
// writes them. Each version keeps its quirks: 1.x answers a slug it does not know with 200 and an empty
// heartbeat list, 2.x with 403; 2.x puts tags and the monitor id before the name.
class KumaPeer
{
public:
    enum class Version { V1, V2 };
    struct Monitor
    {
        int id = 0;
        QString name;
        QJsonArray beats; // the status page's heartbeat list, as sent
        int status = 1; // what /metrics reports
        std::optional<double> ping; // none: -1 on /metrics, as Kuma writes a missing ping
        QString url = QStringLiteral("https://");
        QStringList tags; // 2.x only: each a label of its own before monitor_id
    };

    KumaPeer(Version version, const QString &slug, QList<Monitor> monitors, const QString &apiKey = {});
    LocalHttpServer &server() { return m_server; }
    QString url() const { return m_server.url(QStringLiteral("/")); }
    // The /metrics page as this version writes it.
    QByteArray metricsPage() const;

private:
    LocalHttpServer::Reply answer(const LocalHttpServer::Request &request) const;

    Version m_version;
    QString m_slug;
    QList<Monitor> m_monitors;
    QString m_apiKey;
    LocalHttpServer m_server;
};

} // namespace tw::test
