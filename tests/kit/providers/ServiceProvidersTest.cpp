#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/providers/BeszelProvider.h"
#include "kit/providers/JSONPathEvaluator.h"
#include "kit/providers/KumaMetricsParser.h"
#include "kit/providers/KumaProvider.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"
#include "support/Files.h"
#include "support/KumaPeer.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(QList<KumaPeer::Monitor>)

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

const QByteArray metricsPage = "# HELP monitor_status Monitor Status\n"
                               "monitor_status{monitor_id=\"1\",monitor_name=\"Plex\"} 1\n"
                               "monitor_response_time{monitor_id=\"1\",monitor_name=\"Plex\"} 21\n"
                               "monitor_status{monitor_id=\"2\",monitor_name=\"NAS \\\"main\\\"\"} 0\n";

// "id name status latency", and the link when there is one, of each service row, for tables.
QStringList describe(const QList<ServiceRow> &rows)
{
    QStringList lines;
    for (const ServiceRow &row : rows) {
        const QString latency = row.latencyMs ? QString::number(*row.latencyMs) : u"-"_s;
        lines.append(u"%1 %2 %3 %4"_s.arg(row.id, row.name, toText(row.status), latency)
                     + (row.url ? u' ' + *row.url : QString()));
    }
    return lines;
}

QStringList describe(const QList<WidgetData> &widgets)
{
    QList<ServiceRow> rows;
    for (const WidgetData &widget : widgets)
        rows.append(std::get<ServiceRow>(widget.payload));
    return describe(rows);
}

QJsonArray beats(const char *json)
{
    return QJsonDocument::fromJson(json).array();
}

// A reply as the service writes it, kept as a file beside the tests.
QByteArray served(const char *name)
{
    return contents(QStringLiteral(TW_TEST_DATA_DIR "/providers/") + QLatin1StringView(name));
}

} // namespace

class ServiceProvidersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kumaWaysIn_data()
    {
        QTest::addColumn<QString>("user"); // null: no credentials
        QTest::addColumn<QString>("slug"); // null: no slug
        QTest::addColumn<int>("metricsStatus");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QStringList>("rows");
        const QString rejected = QString::fromUtf8(KumaProvider::rejectedText);
        // Identifiers sorted as text, the negative ping dropped, the empty list skipped; without the
        // page's monitor list (404 here) each row is named by its id.
        const QStringList pageRows{u"10 10 down -"_s, u"9 9 up 12"_s};
        const QStringList statusPage{u"/api/status-page/heartbeat/home"_s, u"/api/status-page/home"_s};
        QTest::newRow("an API key is the password of an empty user name")
            << u""_s << QString() << 200 << QString() << QStringList{u"/metrics"_s}
            << QStringList{u"Plex Plex up 21"_s, u"NAS \"main\" NAS \"main\" down -"_s};
        QTest::newRow("rejected, no slug")
            << u"admin"_s << QString() << 401 << rejected << QStringList{u"/metrics"_s} << QStringList{};
        QTest::newRow("rejected, slug: the status page after metrics")
            << u"admin"_s << u"home/lab"_s << 403 << QString()
            << QStringList{u"/api/status-page/heartbeat/home%2Flab"_s, u"/api/status-page/home%2Flab"_s, u"/metrics"_s}
            << pageRows;
        QTest::newRow("server error does not fall back")
            << u"admin"_s << u"home"_s << 503 << u"HTTP 503"_s << QStringList{u"/metrics"_s} << QStringList{};
        QTest::newRow("no credentials: status page only")
            << QString() << u"home"_s << 200 << QString() << statusPage << pageRows;
        QTest::newRow("neither") << QString() << QString() << 200 << u"kuma needs credentials or a status page slug"_s
                                 << QStringList{} << QStringList{};
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
                if (request.head.contains("\nAuthorization:"))
                    reply.status = 400; // the status page must be asked without credentials
            } else {
                reply.status = 404;
            }
            return reply;
        });
        KumaConfig config(QUuid::createUuid(), u"Kuma"_s, server.url(u"/"_s));
        if (!user.isNull()) {
            config.username = user;
            config.passwordRef = u"kuma-key"_s;
        }
        if (!slug.isNull())
            config.statusPageSlug = slug;
        const Outcome outcome = poll(config, {{u"kuma-key"_s, u"pw"_s}});
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        QStringList paths;
        for (const auto &request : server.requests()) {
            paths.append(QString::fromLatin1(request.path));
            if (request.path == "/metrics")
                QVERIFY(request.head.contains(
                    QByteArray("\nAuthorization: Basic " + (user + u":pw"_s).toUtf8().toBase64())));
        }
        paths.sort(); // the status page's two requests go out together
        QCOMPARE(paths, TW_DATA(QStringList, paths));
        QCOMPARE(describe(outcome.widgets), TW_DATA(QStringList, rows));
    }

    // Status pages as Kuma 1.x and 2.x serve them: 2.x fills the empty buckets of its heartbeat bar
    // with 0 or a null status, the last element included.
    void kumaStatusPage_data()
    {
        using Monitor = KumaPeer::Monitor;
        QTest::addColumn<int>("version");
        QTest::addColumn<QList<Monitor>>("monitors");
        QTest::addColumn<QString>("slug"); // as configured
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("failure");
        const QList<Monitor> buckets{
            {.id = 4,
             .name = u"API"_s,
             .beats = beats(R"([0,{"status":1,"time":"t","msg":"","ping":null},{"status":0,"time":"t","msg":"",)"
                            R"("ping":null},{"status":null},0])")},
            {.id = 10, .name = u"NAS \"main\""_s, .beats = beats(R"([{"status":1,"ping":12},{"status":2},0])")},
            {.id = 7, .name = u"Backup"_s, .beats = beats(R"([0,0,{"status":null}])")},
            {.id = 9, .name = u"Odd"_s, .beats = beats(R"([{"status":1},{"status":1.5},{"status":"0"},[],null])")},
        };
        QTest::newRow("2.x buckets: the last real beat, named")
            << 2 << buckets << u"Home"_s << QStringList{u"10 NAS \"main\" warn -"_s, u"4 API down -"_s, u"9 Odd up -"_s}
            << QString();
        const QList<Monitor> plain{
            {.id = 3, .name = u"Plex"_s, .beats = beats(R"([{"status":0},{"status":1,"ping":21}])")},
            {.id = 5, .name = u"Wiki"_s, .beats = beats(R"([{"status":9,"ping":-1}])")},
            {.id = 6, .name = u"Fresh"_s, .beats = beats("[]")}};
        QTest::newRow("1.x beats") << 1 << plain << u"home"_s << QStringList{u"3 Plex up 21"_s, u"5 Wiki unknown -"_s}
                                   << QString();
        QTest::newRow("1.x mistyped slug")
            << 1 << plain << u"hmoe"_s << QStringList{} << u"status page 'hmoe' lists no monitors — check the slug"_s;
        QTest::newRow("2.x mistyped slug") << 2 << plain << u"hmoe"_s << QStringList{} << u"HTTP 403"_s;
        QTest::newRow("a monitor without a name keeps its id")
            << 2 << QList<Monitor>{{.id = 8, .name = QString(), .beats = beats(R"([{"status":1}])")}} << u"home"_s
            << QStringList{u"8 8 up -"_s} << QString();
    }
    void kumaStatusPage()
    {
        QFETCH(QList<KumaPeer::Monitor>, monitors);
        KumaPeer peer(TW_DATA(int, version) == 1 ? KumaPeer::Version::V1 : KumaPeer::Version::V2, u"home"_s, monitors);
        KumaConfig config(QUuid::createUuid(), u"Kuma"_s, peer.url());
        config.statusPageSlug = TW_DATA(QString, slug);
        const Outcome outcome = poll(config);
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        QCOMPARE(describe(outcome.widgets), TW_DATA(QStringList, rows));
        for (const auto &request : peer.server().requests())
            QVERIFY(!request.head.contains("\nAuthorization:"));
    }

    // The names are a courtesy: a heartbeat list that fails takes the names' request down with it
    // rather than waiting for its deadline.
    void kumaNamesRequestNeverHoldsThePoll()
    {
        LocalHttpServer server;
        server.route("/api/status-page/heartbeat/home", {.status = 503});
        server.route("/api/status-page/home", {.silent = true});
        KumaConfig config(QUuid::createUuid(), u"Kuma"_s, server.url(u"/"_s));
        config.statusPageSlug = u"home"_s;
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(poll(config).failure, u"HTTP 503"_s);
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
    }

    void kumaBadURL()
    {
        KumaConfig bad(QUuid::createUuid(), u"Kuma"_s, u"not a url"_s);
        bad.statusPageSlug = u"s"_s;
        QCOMPARE(poll(bad).failure, u"bad base URL: not a url"_s);
    }

    // Kuma leaves a paused monitor out of /metrics: it stays on view as paused, not gone, until it is
    // back; what was already read as paused stays so.
    void vanishedMonitorsReadPaused_data()
    {
        QTest::addColumn<QStringList>("seen"); // ids an earlier poll had
        QTest::addColumn<QStringList>("now");
        QTest::addColumn<QStringList>("expected");
        // Named and linked as when last seen, without a latency.
        QTest::newRow("one paused") << QStringList{u"1"_s, u"2"_s} << QStringList{u"2"_s}
                                    << QStringList{u"2 m2 up 12 https://x/2"_s, u"1 m1 paused - https://x/1"_s};
        QTest::newRow("all gone") << QStringList{u"1"_s} << QStringList{}
                                  << QStringList{u"1 m1 paused - https://x/1"_s};
    }
    void vanishedMonitorsReadPaused()
    {
        const auto rows = [](const QStringList &ids) {
            QList<ServiceRow> list;
            for (const QString &id : ids)
                list.append({id, u"m"_s + id, ServiceStatus::Up, 12.0, {}, u"https://x/"_s + id});
            return list;
        };
        const QList<ServiceRow> once =
            KumaProvider::withVanished(rows(TW_DATA(QStringList, now)), rows(TW_DATA(QStringList, seen)));
        QCOMPARE(describe(once), TW_DATA(QStringList, expected));
        // Carried forward, a paused row stays paused while it stays away.
        QCOMPARE(KumaProvider::withVanished(rows(TW_DATA(QStringList, now)), once), once);
    }

    void beszel()
    {
        LocalHttpServer server;
        server.route("/api/collections/systems/records?perPage=200", {.body = served("beszel-systems.json")});
        server.route("/api/collections/smart_devices/records?perPage=200",
                     {.body = served("beszel-smart-devices.json")});
        BeszelConfig config(QUuid::createUuid(), u"Beszel"_s, server.url(u"//"_s), u"beszel-token"_s);
        config.limits = {90, 90, 90, 50};
        const Outcome outcome = poll(config, {{u"beszel-token"_s, u"tok"_s}});
        QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        QList<HostStats> hosts;
        for (const WidgetData &widget : outcome.widgets)
            hosts.append(std::get<HostStats>(widget.payload));
        const QList<HostStats> expected{
            {u"s1"_s,
             u"nas01"_s,
             ServiceStatus::Up,
             37.5,
             71,
             93.2,
             {{u"sda"_s, 38}, {u"s1"_s, 52.5}},
             {u"disk 93 %"_s, u"s1 53 °C"_s}},
            // Info given as JSON text, a count as text no number; a drive the agent could not read stays listed.
            {u"s2"_s, u"10.0.0.7"_s, ServiceStatus::Paused, {}, 5, {}, {{u"/dev/sdb"_s, 0}}, {}},
            // Only a host that is up is held to the limits: a down host's last readings are old news.
            {QString(), u"unknown"_s, ServiceStatus::Down, {}, {}, 99, {}, {}},
        };
        QCOMPARE(hosts, expected);
        QCOMPARE(outcome.widgets[0].status(), ServiceStatus::Warn);
        for (const auto &request : server.requests())
            QVERIFY(request.head.contains("\nAuthorization: Bearer tok\r"));
        QCOMPARE(server.requests().size(), 2);
    }

    // PocketBase reads a token it does not accept as no token at all, and its list rules then filter
    // every record away: 200 with no items is all a wrong or expired token gets.
    void beszelFailures_data()
    {
        QTest::addColumn<QString>("token"); // null: none stored
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("systems");
        QTest::addColumn<QString>("failure");
        const QByteArray empty = R"({"page":1,"perPage":200,"totalItems":0,"totalPages":0,"items":[]})";
        QTest::newRow("no token stored") << QString() << 200 << empty << u"missing credential: beszel-token"_s;
        QTest::newRow("refused") << u"t"_s << 401 << QByteArray() << u"HTTP 401"_s;
        QTest::newRow("no systems, as for a wrong token")
            << u"t"_s << 200 << empty << QString::fromUtf8(BeszelProvider::noSystemsText);
        QTest::newRow("a page that is not the hub's list is no failure")
            << u"t"_s << 200 << QByteArray("<html>Sign in</html>") << QString();
    }
    void beszelFailures()
    {
        QFETCH(QString, token);
        LocalHttpServer server;
        server.route("/api/collections/systems/records?perPage=200",
                     {.status = TW_DATA(int, status), .body = TW_DATA(QByteArray, systems)});
        BeszelConfig config(QUuid::createUuid(), u"Beszel"_s, server.url(QString()), u"beszel-token"_s);
        QHash<QString, QString> secrets;
        if (!token.isNull())
            secrets.insert(u"beszel-token"_s, token);
        const Outcome outcome = poll(config, secrets);
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        QVERIFY(outcome.widgets.isEmpty());
    }

    void jsonWidget()
    {
        LocalHttpServer server;
        server.route("/status", {.body = R"({"version":"2.1","players":{"online":3},"ok":true})"});
        JSONWidgetConfig config(QUuid::createUuid(),
                                u"Server"_s,
                                server.url(u"/status"_s),
                                {{u"Version"_s, u"version"_s},
                                 {u"Online"_s, u"players.online"_s},
                                 {u"Healthy"_s, u"ok"_s},
                                 {u"Missing"_s, u"players.max"_s},
                                 {u"Online"_s, u"players"_s}});
        config.bearerTokenRef = u"json-token"_s;
        const Outcome outcome = poll(config, {{u"json-token"_s, u"abc"_s}});
        QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        const KeyValues table = std::get<KeyValues>(outcome.widgets.first().payload);
        QCOMPARE(table.title, u"Server"_s);
        QStringList values;
        for (const JSONFieldValue &field : table.fields)
            values.append(field.label + u'=' + field.value);
        QCOMPARE(values,
                 (QStringList{u"Version=2.1"_s, u"Online=3"_s, u"Healthy=true"_s, u"Missing=—"_s, u"Online=—"_s}));
        QVERIFY(server.requests().last().head.contains("\nAuthorization: Bearer abc\r"));
    }

    void kumaMetricsPage_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QStringList>("rows"); // named by their names
        QTest::newRow("latency joined either way round")
            << u"monitor_response_time{monitor_name=\"a\"} 12.5\nmonitor_status{monitor_name=\"a\"} 1\n"_s
            << QStringList{u"a a up 12.5"_s};
        QTest::newRow("negative response time is no latency")
            << u"monitor_status{monitor_name=\"a\"} 1\nmonitor_response_time{monitor_name=\"a\"} -1\n"_s
            << QStringList{u"a a up -"_s};
        QTest::newRow("status table by exact text")
            << u"monitor_status{monitor_name=\"w\"} 2\nmonitor_status{monitor_name=\"m\"} 3\n"
               "monitor_status{monitor_name=\"d\"} 0\nmonitor_status{monitor_name=\"x\"} 7\n"
               "monitor_status{monitor_name=\"f\"} 1.0\n"_s
            << QStringList{u"w w warn -"_s,
                           u"m m maintenance -"_s,
                           u"d d down -"_s,
                           u"x x unknown -"_s,
                           u"f f unknown -"_s};
        QTest::newRow("escaped quote and backslash, newline escape kept as n")
            << u"monitor_status{monitor_name=\"say \\\"hi\\\" \\\\ \\n\"} 1\n"_s
            << QStringList{u"say \"hi\" \\ n say \"hi\" \\ n up -"_s};
        // As Kuma 2.x writes them: tags and id first, the URL behind the name, nulls as text.
        QTest::newRow("braces in the URL after the name keep a down monitor down")
            << QString::fromUtf8(served("kuma2-metrics-braces-in-url.txt")) << QStringList{u"API API down 48"_s};
        QTest::newRow("escaped backslash closes the value before a brace")
            << u"monitor_status{monitor_name=\"C:\\\\\",monitor_url=\"http://x/{a}\"} 0\n"_s
            << QStringList{u"C:\\ C:\\ down -"_s};
        QTest::newRow("a quote never closed loses the line")
            << u"monitor_status{monitor_name=\"a} 1\nmonitor_status{monitor_name=\"b\"} 1\n"_s
            << QStringList{u"b b up -"_s};
        QTest::newRow("tags and id before the name, timestamp after the value")
            << u"monitor_status{tag=\"prod\",monitor_id=\"4\",monitor_name=\"api\",monitor_url=\"https://x\"} 1 1700000000\n"_s
            << QStringList{u"api api up - https://x"_s};
        QTest::newRow("other metrics and labelless lines ignored")
            << u"monitor_cert_days_remaining{monitor_name=\"a\"} 30\nmonitor_status 1\nmonitor_statusx{monitor_name=\"b\"} 1\n"_s
            << QStringList{};
        QTest::newRow("duplicate names give two rows, later latency wins")
            << u"monitor_response_time{monitor_name=\"a\"} 5\nmonitor_response_time{monitor_name=\"a\"} 7\n"
               "monitor_status{monitor_name=\"a\"} 1\nmonitor_status{monitor_name=\"a\"} 0\n"_s
            << QStringList{u"a a up 7"_s, u"a a down 7"_s};
    }
    void kumaMetricsPage()
    {
        QCOMPARE(describe(KumaMetricsParser::parse(TW_DATA(QString, page))), TW_DATA(QStringList, rows));
    }

    void jsonPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("text"); // null: nothing
        QTest::newRow("nested key") << u"a.b"_s << QByteArray("{\"a\":{\"b\":1}}") << u"1"_s;
        QTest::newRow("index into top-level array") << u"0.name"_s << QByteArray("[{\"name\":\"x\"}]") << u"x"_s;
        QTest::newRow("negative index") << u"items.-1"_s << QByteArray("{\"items\":[1]}") << QString();
        QTest::newRow("index past the end") << u"items.1"_s << QByteArray("{\"items\":[1]}") << QString();
        QTest::newRow("through null") << u"a.b"_s << QByteArray("{\"a\":null}") << QString();
        QTest::newRow("object does not print") << u"a"_s << QByteArray("{\"a\":{\"b\":1}}") << QString();
        QTest::newRow("boolean") << u"a"_s << QByteArray("{\"a\":true}") << u"true"_s;
        QTest::newRow("whole number") << u"a"_s << QByteArray("{\"a\":42.0}") << u"42"_s;
        QTest::newRow("2^53") << u"a"_s << QByteArray(R"({"a":9007199254740992})") << u"9007199254740992"_s;
        QTest::newRow("negative, as written")
            << u"a"_s << QByteArray(R"({"a":-9007199254740995})") << u"-9007199254740995"_s;
        QTest::newRow("as written, past strings and siblings")
            << u"list.1.id"_s
            << QByteArray("{\"x\":\"a\\\"}{[\",\"list\":[ {\"id\":1}, {\"n\":[1,{\"id\":2}], \"i\\u0064\" : "
                          "18446744073709551617 } ]}")
            << u"18446744073709551617"_s;
        QTest::newRow("large with an exponent") << u"a"_s << QByteArray(R"({"a":1e20})") << u"100000000000000000000"_s;
        QTest::newRow("too large for digits") << u"a"_s << QByteArray(R"({"a":-1e21})") << u"-1e+21"_s;
        QTest::newRow("extra dots") << u".a..b."_s << QByteArray("{\"a\":{\"b\":\"v\"}}") << u"v"_s;
        QTest::newRow("numeric key is a key") << u"a.0"_s << QByteArray("{\"a\":{\"0\":\"k\"}}") << u"k"_s;
        QTest::newRow("not JSON") << u"a"_s << QByteArray("<html>") << QString();
    }
    void jsonPath()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(QString, text);
        QCOMPARE(JSONPathEvaluator::evaluate(path, body), text.isNull() ? std::nullopt : std::optional(text));
    }
};

QTEST_GUILESS_MAIN(ServiceProvidersTest)
#include "ServiceProvidersTest.moc"
