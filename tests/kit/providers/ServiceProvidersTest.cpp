#include "kit/monitor/InMemoryCredentialStore.h"
#include "kit/monitor/ProviderError.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/providers/KumaProvider.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Outcome
{
    QList<WidgetData> widgets;
    QString failure;
};

Outcome poll(const AnySourceConfig &config, QHash<QString, QString> secrets = {})
{
    const ProviderTransports transports{std::make_shared<BoundedHTTPClient>(),
                                        std::make_shared<TCPByteChannelFactory>(500ms)};
    try {
        auto provider =
            ProviderRegistry::make(config, std::make_shared<InMemoryCredentialStore>(std::move(secrets)), transports);
        return {await(provider->fetch(makeStopToken())).widgets, {}};
    } catch (const ProviderError &error) {
        return {{}, error.description()};
    }
}

QByteArray header(const LocalHttpServer::Request &request, const QByteArray &name)
{
    for (const QByteArray &line : request.head.split('\n')) {
        if (line.toLower().startsWith(QByteArray(name.toLower() + ':')))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

const QByteArray metricsPage = "# HELP monitor_status Monitor Status\n"
                               "monitor_status{monitor_id=\"1\",monitor_name=\"Plex\"} 1\n"
                               "monitor_response_time{monitor_id=\"1\",monitor_name=\"Plex\"} 21\n"
                               "monitor_status{monitor_id=\"2\",monitor_name=\"NAS \\\"main\\\"\"} 0\n";

KumaConfig kuma(const LocalHttpServer &server, std::optional<QString> user, std::optional<QString> slug)
{
    KumaConfig config(QUuid::createUuid(), u"Kuma"_s, server.url(u"/"_s));
    config.username = user;
    if (user)
        config.passwordRef = u"kuma-key"_s;
    config.statusPageSlug = slug;
    return config;
}

} // namespace

class ServiceProvidersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kumaMetricsWithAnApiKey()
    {
        LocalHttpServer server;
        server.route("/metrics", {.body = metricsPage});
        const Outcome outcome = poll(kuma(server, u""_s, std::nullopt), {{u"kuma-key"_s, u"uk1_secret"_s}});
        QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        QCOMPARE(outcome.widgets.size(), 2);
        QCOMPARE(outcome.widgets[0], WidgetData(ServiceRow{u"Plex"_s, u"Plex"_s, ServiceStatus::Up, 21.0, {}}));
        QCOMPARE(outcome.widgets[1].name(), u"NAS \"main\""_s);
        // An API key goes as the password of an empty user name.
        QCOMPARE(header(server.requests().first(), "Authorization"), "Basic " + QByteArray(":uk1_secret").toBase64());
    }

    void kumaWaysIn_data()
    {
        QTest::addColumn<QString>("user"); // null: no credentials
        QTest::addColumn<QString>("slug"); // null: no slug
        QTest::addColumn<int>("metricsStatus");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<int>("rows");
        const QString rejected = QString::fromUtf8(KumaProvider::rejectedText);
        QTest::newRow("rejected, no slug")
            << u"admin"_s << QString() << 401 << rejected << QStringList{u"/metrics"_s} << 0;
        QTest::newRow("rejected, slug: two requests")
            << u"admin"_s << u"home/lab"_s << 403 << QString()
            << QStringList{u"/metrics"_s, u"/api/status-page/heartbeat/home%2Flab"_s} << 2;
        QTest::newRow("server error does not fall back")
            << u"admin"_s << u"home"_s << 503 << u"HTTP 503"_s << QStringList{u"/metrics"_s} << 0;
        QTest::newRow("no credentials: status page only")
            << QString() << u"home"_s << 200 << QString() << QStringList{u"/api/status-page/heartbeat/home"_s} << 2;
        QTest::newRow("neither") << QString() << QString() << 200 << u"kuma needs credentials or a status page slug"_s
                                 << QStringList{} << 0;
    }
    void kumaWaysIn()
    {
        QFETCH(QString, user);
        QFETCH(QString, slug);
        LocalHttpServer server;
        server.route("/metrics", {.status = TW_DATA(int, metricsStatus), .body = metricsPage});
        server.fallback([](const LocalHttpServer::Request &request) {
            LocalHttpServer::Reply reply;
            if (request.path.startsWith("/api/status-page/heartbeat/")) {
                reply.body =
                    R"({"heartbeatList":{"9":[{"status":1,"ping":12}],"10":[{"status":0,"ping":-1}],"11":[]},"uptimeList":{}})";
                if (!header(request, "Authorization").isEmpty())
                    reply.status = 400; // the status page must be asked without credentials
            } else {
                reply.status = 404;
            }
            return reply;
        });
        const Outcome outcome = poll(kuma(server,
                                          user.isNull() ? std::nullopt : std::optional(user),
                                          slug.isNull() ? std::nullopt : std::optional(slug)),
                                     {{u"kuma-key"_s, u"pw"_s}});
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        QStringList paths;
        for (const auto &request : server.requests())
            paths.append(QString::fromLatin1(request.path));
        QCOMPARE(paths, TW_DATA(QStringList, paths));
        QCOMPARE(outcome.widgets.size(), TW_DATA(int, rows));
        if (outcome.widgets.size() == 2) {
            // Identifiers sorted as text, the negative ping dropped, the empty list skipped.
            QCOMPARE(outcome.widgets[0], WidgetData(ServiceRow{u"10"_s, u"10"_s, ServiceStatus::Down, {}, {}}));
            QCOMPARE(outcome.widgets[1], WidgetData(ServiceRow{u"9"_s, u"9"_s, ServiceStatus::Up, 12.0, {}}));
        }
    }

    void kumaMissingSecretAndBadURL()
    {
        LocalHttpServer server;
        QCOMPARE(poll(kuma(server, u"admin"_s, u"home"_s)).failure, u"missing credential: kuma-key"_s);
        KumaConfig bad = kuma(server, std::nullopt, u"s"_s);
        bad.baseURL = u"not a url"_s;
        QCOMPARE(poll(bad).failure, u"bad base URL: not a url"_s);
        QVERIFY(server.requests().isEmpty());
    }

    void beszel_data()
    {
        QTest::addColumn<int>("drivesStatus");
        QTest::addColumn<int>("temps");
        QTest::newRow("hub with drives") << 200 << 2;
        QTest::newRow("hub without drives (404)") << 404 << 0;
    }
    void beszel()
    {
        QFETCH(int, drivesStatus);
        LocalHttpServer server;
        server.route("/api/collections/systems/records?perPage=200",
                     {.body = "{\"items\":[{\"id\":\"s1\",\"name\":\"nas01\",\"status\":\"up\",\"info\":{\"cpu\":37.5,"
                              "\"mp\":71,\"dp\":93.2}},{\"id\":\"s2\",\"host\":\"10.0.0.7\",\"status\":\"paused\","
                              "\"info\":\"{\\\"cpu\\\":\\\"high\\\",\\\"mp\\\":5}\"},{\"status\":\"down\"}]}"});
        server.route(
            "/api/collections/smart_devices/records?perPage=200",
            {.status = drivesStatus,
             .body =
                 R"({"items":[{"system":"s1","temp":38,"name":"sda"},{"system":"s1","temp":52.5},{"system":"gone","temp":40},{"system":"s2","temp":"hot"}]})"});
        BeszelConfig config(QUuid::createUuid(), u"Beszel"_s, server.url(u"//"_s), u"beszel-token"_s);
        const Outcome outcome = poll(config, {{u"beszel-token"_s, u"tok"_s}});
        QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        QCOMPARE(outcome.widgets.size(), 3);
        const auto host = [&](int i) {
            return std::get<HostStats>(outcome.widgets[i].payload);
        };
        QCOMPARE(host(0).name, u"nas01"_s);
        QCOMPARE(host(0).status, ServiceStatus::Up);
        QCOMPARE(host(0).cpuPct, 37.5);
        QCOMPARE(host(0).diskPct, 93.2);
        QCOMPARE(host(0).temps.size(), TW_DATA(int, temps));
        if (!host(0).temps.isEmpty())
            QCOMPARE(host(0).temps, (QList<DriveTemp>{{u"sda"_s, 38}, {u"s1"_s, 52.5}}));
        QCOMPARE(host(1).name, u"10.0.0.7"_s);
        QCOMPARE(host(1).status, ServiceStatus::Unknown);
        QCOMPARE(host(1).cpuPct, std::nullopt); // text, not a number
        QCOMPARE(host(1).memPct, 5.0); // info given as JSON text
        QCOMPARE(host(2).name, u"unknown"_s);
        QCOMPARE(host(2).status, ServiceStatus::Down);
        for (const auto &request : server.requests())
            QCOMPARE(header(request, "Authorization"), QByteArray("Bearer tok"));
        QCOMPARE(server.requests().size(), 2);
    }

    void beszelFailures()
    {
        LocalHttpServer server;
        server.route("/api/collections/systems/records?perPage=200", {.status = 401});
        BeszelConfig config(QUuid::createUuid(), u"Beszel"_s, server.url(QString()), u"beszel-token"_s);
        QCOMPARE(poll(config).failure, u"missing credential: beszel-token"_s);
        QCOMPARE(poll(config, {{u"beszel-token"_s, u"t"_s}}).failure, u"HTTP 401"_s);
        // A wrong token on a real hub reads as an empty list: a hub with no systems.
        server.route("/api/collections/systems/records?perPage=200", {.body = R"({"items":[]})"});
        const Outcome empty = poll(config, {{u"beszel-token"_s, u"t"_s}});
        QVERIFY(empty.failure.isEmpty());
        QVERIFY(empty.widgets.isEmpty());
    }

    void jsonWidget()
    {
        LocalHttpServer server;
        server.route("/status", {.body = R"({"version":"2.1","players":{"online":3},"ok":true,"list":[{"n":"a"}]})"});
        JSONWidgetConfig config(QUuid::createUuid(),
                                u"Server"_s,
                                server.url(u"/status"_s),
                                {{u"Version"_s, u"version"_s},
                                 {u"Online"_s, u"players.online"_s},
                                 {u"Healthy"_s, u"ok"_s},
                                 {u"First"_s, u"list.0.n"_s},
                                 {u"Missing"_s, u"players.max"_s},
                                 {u"Online"_s, u"players"_s}});
        config.bearerTokenRef = u"json-token"_s;
        QCOMPARE(poll(config).failure, u"missing credential: json-token"_s);
        const Outcome outcome = poll(config, {{u"json-token"_s, u"abc"_s}});
        QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        const KeyValues table = std::get<KeyValues>(outcome.widgets.first().payload);
        QCOMPARE(table.title, u"Server"_s);
        QStringList values;
        for (const JSONFieldValue &field : table.fields)
            values.append(field.label + u'=' + field.value);
        QCOMPARE(values,
                 (QStringList{u"Version=2.1"_s,
                              u"Online=3"_s,
                              u"Healthy=true"_s,
                              u"First=a"_s,
                              u"Missing=—"_s,
                              u"Online=—"_s}));
        QCOMPARE(header(server.requests().last(), "Authorization"), QByteArray("Bearer abc"));

        server.route("/status", {.status = 500});
        QCOMPARE(poll(config, {{u"json-token"_s, u"abc"_s}}).failure, u"HTTP 500"_s);
    }
};

QTEST_GUILESS_MAIN(ServiceProvidersTest)
#include "ServiceProvidersTest.moc"
