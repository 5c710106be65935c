#include "KumaPeer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrl>

namespace tw::test {

namespace {

// prom-client's escaping of a label value: a line break as \n, a backslash doubled unless an "n"
// follows it, a quote escaped. Braces stay as they are.
QString promLabelValue(QString text)
{
    text.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    text.replace(QRegularExpression(QStringLiteral(R"(\\(?!n))")), QStringLiteral(R"(\\)"));
    text.replace(QLatin1Char('"'), QStringLiteral(R"(\")"));
    return text;
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

LocalHttpServer::Reply
reply(int status, const QByteArray &body, const QByteArray &type = "application/json; charset=utf-8")
{
    LocalHttpServer::Reply reply;
    reply.status = status;
    reply.headers = {{"Content-Type", type}};
    reply.body = body;
    return reply;
}

LocalHttpServer::Reply fail(int status, const QString &message)
{
    return reply(status, json({{QStringLiteral("status"), QStringLiteral("fail")}, {QStringLiteral("msg"), message}}));
}

} // namespace

KumaPeer::KumaPeer(Version version, const QString &slug, QList<Monitor> monitors, const QString &apiKey)
    : m_version(version)
    , m_slug(slug.toLower())
    , m_monitors(std::move(monitors))
    , m_apiKey(apiKey)
{
    m_server.fallback([this](const LocalHttpServer::Request &request) { return answer(request); });
}

QByteArray KumaPeer::metricsPage() const
{
    const auto labels = [this](const Monitor &monitor) -> QString {
        QStringList pairs;
        if (m_version == Version::V2) {
            for (const QString &tag : monitor.tags)
                pairs.append(QStringLiteral("%1=\"%1\"").arg(tag));
            pairs.append(QStringLiteral("monitor_id=\"%1\"").arg(monitor.id));
        }
        pairs.append(QStringLiteral("monitor_name=\"%1\"").arg(promLabelValue(monitor.name)));
        pairs.append(QStringLiteral("monitor_type=\"http\""));
        pairs.append(QStringLiteral("monitor_url=\"%1\"").arg(promLabelValue(monitor.url)));
        pairs.append(QStringLiteral("monitor_hostname=\"null\""));
        pairs.append(QStringLiteral("monitor_port=\"null\""));
        return QLatin1Char('{') + pairs.join(QLatin1Char(',')) + QLatin1Char('}');
    };
    QString page = QStringLiteral("# HELP monitor_response_time Monitor Response Time (ms)\n"
                                  "# TYPE monitor_response_time gauge\n");
    for (const Monitor &monitor : m_monitors)
        page += QStringLiteral("monitor_response_time%1 %2\n").arg(labels(monitor)).arg(monitor.ping.value_or(-1));
    page += QStringLiteral("\n# HELP monitor_status Monitor Status (1 = UP, 0= DOWN, 2= PENDING, 3= MAINTENANCE)\n"
                           "# TYPE monitor_status gauge\n");
    for (const Monitor &monitor : m_monitors)
        page += QStringLiteral("monitor_status%1 %2\n").arg(labels(monitor)).arg(monitor.status);
    return page.toUtf8();
}

LocalHttpServer::Reply KumaPeer::answer(const LocalHttpServer::Request &request) const
{
    const QString path = QUrl::fromPercentEncoding(request.path);
    if (path == QStringLiteral("/metrics")) {
        for (const QByteArray &line : request.head.split('\n')) {
            if (!line.toLower().startsWith("authorization:"))
                continue;
            // Kuma looks only at the password; the user name may be anything, or empty.
            const QByteArray pair = QByteArray::fromBase64(line.mid(line.indexOf("Basic ") + 6).trimmed());
            if (!m_apiKey.isEmpty() && pair.mid(pair.indexOf(':') + 1) == m_apiKey.toUtf8())
                return reply(200, metricsPage(), "text/plain; version=0.0.4; charset=utf-8");
        }
        return reply(401, "Unauthorized", "text/plain; charset=utf-8");
    }
    const QString heartbeatPrefix = QStringLiteral("/api/status-page/heartbeat/");
    if (path.startsWith(heartbeatPrefix)) {
        if (path.mid(heartbeatPrefix.size()).toLower() != m_slug) {
            if (m_version == Version::V2) // the page's missing row, read as if it were there
                return fail(403, QStringLiteral("Cannot read properties of null (reading 'heartbeat_bar_days')"));
            return reply(200, R"({"heartbeatList":{},"uptimeList":{}})");
        }
        QJsonObject heartbeats;
        QJsonObject uptimes;
        for (const Monitor &monitor : m_monitors) {
            heartbeats.insert(QString::number(monitor.id), monitor.beats);
            uptimes.insert(QString::number(monitor.id) + (m_version == Version::V1 ? QStringLiteral("_24") : QString()),
                           1);
        }
        return reply(200,
                     json({{QStringLiteral("heartbeatList"), heartbeats}, {QStringLiteral("uptimeList"), uptimes}}));
    }
    const QString pagePrefix = QStringLiteral("/api/status-page/");
    if (path.startsWith(pagePrefix)) {
        if (path.mid(pagePrefix.size()).toLower() != m_slug)
            return fail(404, QStringLiteral("Status Page Not Found"));
        QJsonArray list;
        for (const Monitor &monitor : m_monitors) {
            list.append(QJsonObject{{QStringLiteral("id"), monitor.id},
                                    {QStringLiteral("name"), monitor.name},
                                    {QStringLiteral("sendUrl"), 0},
                                    {QStringLiteral("type"), QStringLiteral("http")}});
        }
        const QJsonObject group{{QStringLiteral("id"), 1},
                                {QStringLiteral("name"), QStringLiteral("Services")},
                                {QStringLiteral("weight"), 1},
                                {QStringLiteral("monitorList"), list}};
        const QJsonObject config{{QStringLiteral("slug"), m_slug},
                                 {QStringLiteral("title"), QStringLiteral("Home")},
                                 {QStringLiteral("published"), true}};
        return reply(200,
                     json({{QStringLiteral("config"), config},
                           {QStringLiteral("incident"), QJsonValue::Null},
                           {QStringLiteral("publicGroupList"), QJsonArray{group}},
                           {QStringLiteral("maintenanceList"), QJsonArray{}}}));
    }
    return fail(404, QStringLiteral("Not Found"));
}

} // namespace tw::test
