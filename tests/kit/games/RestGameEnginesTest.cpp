#include "kit/games/RestGameEngines.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/games/RestGameParsers.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "support/Await.h"
#include "support/GamesFacts.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace tw::RestGames;

namespace {

struct Route
{
    QByteArray path;
    int status = 200;
    QByteArray body;
};
using Routes = QList<Route>;
using Body = std::optional<QByteArray>;
using Bodies = QList<Body>;

QCoro::Task<GameFacts> runEngine(const QString &engine, quint16 port, std::optional<QString> secret)
{
    const auto http = std::make_shared<BoundedHTTPClient>();
    const QString host = u"127.0.0.1"_s;
    if (engine == u"palworld")
        return RestGames::fetchPalworld(host, port, secret.value_or(u"pw"_s), false, http, makeStopToken());
    if (engine == u"fivem")
        return RestGames::fetchFiveM(host, port, secret, false, http, makeStopToken());
    return RestGames::fetchTShock(host, port, false, http, makeStopToken());
}

QByteArray header(const QByteArray &head, const QByteArray &name)
{
    for (const QByteArray &line : head.split('\n')) {
        if (line.toLower().startsWith(QByteArray(name.toLower() + ':')))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

const QByteArray palInfo = R"({"version":"v0.5.1.61010","servername":"Pals"})";
const QByteArray palPlayers = R"({"players":[{"name":"ann","level":12},{"name":"bo","level":3}]})";
const QByteArray palMetrics = R"({"currentplayernum":2,"maxplayernum":32,"serverfps":59})";
const QByteArray fiveInfo = R"({"vars":{"sv_projectName":"RP City","sv_maxClients":"48"},"version":1})";
const QByteArray fivePlayers = R"([{"name":"ann","id":1,"ping":40},{"name":"bo","id":2,"ping":61}])";
const QByteArray tshockStatus = R"({"status":"200","name":"Terra","port":7777,"playercount":2,"maxplayers":8,)"
                                R"("players":[{"nickname":"ann"},{"nickname":"","username":"bob"}]})";

// How the user reads a poll: a row of readings, offline with the server's reason, or a failure of
// the setup the user must repair.
QString describe(const std::function<GameFacts()> &parse)
{
    try {
        return gamesFacts(parse());
    } catch (const ProviderError &error) {
        return (error.kind() == ProviderError::Kind::Upstream ? u"offline: "_s : u"fails: "_s) + error.description();
    }
}

} // namespace

Q_DECLARE_METATYPE(Routes)
Q_DECLARE_METATYPE(Bodies)

class RestGameEnginesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void gameURL_data()
    {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("url");
        QTest::newRow("TLS") << true << u"pals.lan"_s << u"https://pals.lan:8212/v1/api/info"_s;
        QTest::newRow("IPv6 in brackets") << false << u"::1"_s << u"http://[::1]:8212/v1/api/info"_s;
        QTest::newRow("a space") << false << u"x y"_s << u"fails: bad host \"x y\""_s;
    }
    void gameURL()
    {
        QString url;
        try {
            url = RestGames::gameURL(TW_DATA(bool, tls), TW_DATA(QString, host), 8212, u"/v1/api/info"_s, QString())
                      .toString();
        } catch (const ProviderError &error) {
            QCOMPARE(error.kind(), ProviderError::Kind::Misconfigured);
            url = u"fails: "_s + error.description();
        }
        QCOMPARE(url, TW_DATA(QString, url));
    }

    void engines_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::addColumn<Routes>("routes"); // every other path answers 404; none: nothing listens
        QTest::addColumn<QString>("outcome");
        const QByteArray tshockPath = "/v2/server/status?players=true";
        QTest::newRow("Palworld") << u"palworld"_s
                                  << Routes{{"/v1/api/info", 200, palInfo},
                                            {"/v1/api/players", 200, palPlayers},
                                            {"/v1/api/metrics", 200, palMetrics}}
                                  << u"2/32 [ann,bo] v0.5.1.61010"_s;
        QTest::newRow("Palworld: a 401 wins over two answers") << u"palworld"_s
                                                               << Routes{{"/v1/api/info", 200, palInfo},
                                                                         {"/v1/api/players", 401, {}},
                                                                         {"/v1/api/metrics", 200, palMetrics}}
                                                               << u"fails: HTTP 401 — check the password"_s;
        QTest::newRow("FiveM") << u"fivem"_s
                               << Routes{{"/info.json", 200, fiveInfo}, {"/players.json", 200, fivePlayers}}
                               << u"2/48 [ann,bo] RP City"_s;
        QTest::newRow("FiveM: players hidden")
            << u"fivem"_s << Routes{{"/info.json", 200, fiveInfo}, {"/players.json", 403, {}}} << u"-/48 [] RP City"_s;
        QTest::newRow("FiveM: 401 on both is offline, with the info's status")
            << u"fivem"_s << Routes{{"/info.json", 401, {}}, {"/players.json", 403, {}}} << u"offline: HTTP 401"_s;
        QTest::newRow("TShock") << u"tshock"_s << Routes{{tshockPath, 200, tshockStatus}} << u"2/8 [ann,bob] Terra"_s;
        QTest::newRow("TShock: 403") << u"tshock"_s << Routes{{tshockPath, 403, {}}}
                                     << u"fails: HTTP 403 — the REST interface needs a token"_s;
        QTest::newRow("TShock: without the players query")
            << u"tshock"_s << Routes{{"/v2/server/status", 200, tshockStatus}} << u"offline: HTTP 404"_s;
        QTest::newRow("refused everywhere") << u"fivem"_s << Routes{} << u"offline: connection refused"_s;
    }
    void engines()
    {
        auto server = std::make_unique<LocalHttpServer>();
        for (const Route &route : TW_DATA(Routes, routes))
            server->route(route.path, {.status = route.status, .body = route.body});
        const QString engine = TW_DATA(QString, engine);
        const quint16 port = server->port();
        if (TW_DATA(Routes, routes).isEmpty())
            server.reset();
        QCOMPARE(describe([&] { return await(runEngine(engine, port, std::nullopt)); }), TW_DATA(QString, outcome));
    }

    void secretsGoInHeadersWhereTheyBelong()
    {
        // "path authorization|players token" of each request an engine sends.
        const auto sent = [](const QString &engine, std::optional<QString> secret) {
            LocalHttpServer server;
            const quint16 port = server.port();
            describe([&] { return await(runEngine(engine, port, secret)); });
            QStringList requests;
            for (const LocalHttpServer::Request &request : server.requests())
                requests.append(QString::fromLatin1(request.path + ' ' + header(request.head, "Authorization") + '|'
                                                    + header(request.head, "X-Players-Token")));
            requests.sort();
            return requests;
        };
        const QString basic = u"Basic "_s + QString::fromLatin1(QByteArray("admin:p:w").toBase64()) + u'|';
        QCOMPARE(
            sent(u"palworld"_s, u"p:w"_s),
            (QStringList{u"/v1/api/info "_s + basic, u"/v1/api/metrics "_s + basic, u"/v1/api/players "_s + basic}));
        QCOMPARE(sent(u"fivem"_s, std::nullopt), (QStringList{u"/info.json |"_s, u"/players.json |"_s}));
        QCOMPARE(sent(u"fivem"_s, u"t0ken"_s), (QStringList{u"/info.json |"_s, u"/players.json |t0ken"_s}));
    }

    // The three requests go out together, none waiting for another's answer; a stopped poll ends
    // every one of them, not only the one being awaited.
    void stoppingThePollEndsEveryRequest()
    {
        LocalHttpServer server;
        server.fallback([](const LocalHttpServer::Request &) { return LocalHttpServer::Reply{.silent = true}; });
        const StopToken stop = makeStopToken();
        QTimer::singleShot(300, stop.get(), [stop] { stop->requestStop(); });
        QElapsedTimer clock;
        clock.start();
        const auto http = std::make_shared<BoundedHTTPClient>();
        QVERIFY_THROWS_EXCEPTION(
            Cancelled,
            await(RestGames::fetchPalworld(u"127.0.0.1"_s, server.port(), u"pw"_s, false, http, stop)));
        QVERIFY(clock.elapsed() < 5000); // far below the client's own time-outs
        QCOMPARE(server.requests().size(), 3);
    }

    void replies_data()
    {
        QTest::addColumn<QString>("game");
        QTest::addColumn<Bodies>("bodies"); // one per endpoint, in the order the engine asks them
        QTest::addColumn<QString>("expected");
        const Body metrics = QByteArray(R"({"currentplayernum":3,"maxplayernum":32})");
        const QString palworld = u"palworld"_s;
        const QString fivem = u"fivem"_s;
        const QString tshock = u"tshock"_s;
        QTest::newRow("Palworld: names beat the metric")
            << palworld << Bodies{Body(), Body(R"({"players":[{"name":"ann"}]})"), metrics} << u"1/32 [ann] "_s;
        QTest::newRow("Palworld: nameless entries count without a metric")
            << palworld << Bodies{Body(), Body(R"({"players":[{"name":""},{"ip":"1.2.3.4"}]})")} << u"2/- [] "_s;
        QTest::newRow("Palworld: metric beats nameless entries")
            << palworld << Bodies{Body(), Body(R"({"players":[{"name":""}]})"), metrics} << u"3/32 [] "_s;
        QTest::newRow("Palworld: list with a non-object is no list")
            << palworld << Bodies{Body(), Body(R"({"players":[{"name":"ann"},7]})")} << u"-/- [] "_s;
        QTest::newRow("Palworld: metrics as text and fraction")
            << palworld << Bodies{Body(), Body(), Body(R"({"currentplayernum":"+4","maxplayernum":31.9})")}
            << u"4/31 [] "_s;
        QTest::newRow("Palworld: only invalid JSON")
            << palworld << Bodies{Body("<html>"), Body(R"({"players":)"), Body("")} << u"offline: malformed reply"_s;
        QTest::newRow("Palworld: lists instead of objects")
            << palworld << Bodies{Body("[]"), Body(R"([{"name":"a"}])"), Body("3")} << u"offline: malformed reply"_s;
        QTest::newRow("FiveM: empty project name falls back on hostname, max as text")
            << fivem << Bodies{Body(R"({"vars":{"sv_projectName":"","hostname":"Host","sv_maxClients":"48"}})")}
            << u"-/48 [] Host"_s;
        QTest::newRow("FiveM: lower-case max")
            << fivem << Bodies{Body(R"({"vars":{"sv_maxclients":"64","sv_maxClients":"lots"}})")} << u"-/64 [] "_s;
        QTest::newRow("FiveM: nameless players count")
            << fivem << Bodies{Body(), Body(R"([{"id":1},{"name":""},{"name":"c"}])")} << u"3/- [c] "_s;
        QTest::newRow("FiveM: a real player may be called Player")
            << fivem << Bodies{Body(), Body(R"([{"id":7,"name":"Player"},{"id":0,"name":"Player"},{"name":"Player"}])")}
            << u"3/- [Player,Player] "_s;
        QTest::newRow("FiveM: player object instead of list")
            << fivem << Bodies{Body(), Body(R"({"name":"a"})")} << u"offline: malformed reply"_s;
        QTest::newRow("TShock: empty nickname falls back on username")
            << tshock
            << Bodies{Body(R"({"players":[{"nickname":"","username":"bob"},{"nickname":7,"username":"cy"}]})")}
            << u"2/- [bob,cy] "_s;
        QTest::newRow("TShock: nameless entry counts without a name")
            << tshock << Bodies{Body(R"({"players":[{"nickname":"ann"},{"group":"guest"}]})")} << u"2/- [ann] "_s;
        QTest::newRow("TShock: count as text beats the list")
            << tshock << Bodies{Body(R"({"playercount":"1","players":[{"nickname":"a"},{"nickname":"b"}]})")}
            << u"1/- [a,b] "_s;
        QTest::newRow("TShock: status 200 as a number")
            << tshock << Bodies{Body(R"({"status":200,"playercount":1})")} << u"1/- [] "_s;
        QTest::newRow("TShock: status without an error text")
            << tshock << Bodies{Body(R"({"status":"500","playercount":1})")}
            << u"offline: TShock answered status 500"_s;
        QTest::newRow("TShock: a token refused in a 200 is the user's to repair")
            << tshock << Bodies{Body(R"({"status":"401","error":"Not authorized."})")} << u"fails: Not authorized."_s;
        QTest::newRow("TShock: a response text stands in for the error")
            << tshock << Bodies{Body(R"({"status":"404","response":"Unknown endpoint"})")}
            << u"offline: Unknown endpoint"_s;
        QTest::newRow("TShock: nothing") << tshock << Bodies{} << u"offline: malformed reply"_s;
    }
    void replies()
    {
        QFETCH(QString, game);
        QFETCH(Bodies, bodies);
        const auto parse = [&] {
            if (game == u"palworld")
                return parsePalworld(objectReply(bodies.value(0)),
                                     objectReply(bodies.value(1)),
                                     objectReply(bodies.value(2)));
            if (game == u"fivem")
                return parseFiveM(objectReply(bodies.value(0)), objectListReply(bodies.value(1)));
            return parseTShock(objectReply(bodies.value(0)));
        };
        QCOMPARE(describe(parse), TW_DATA(QString, expected));
    }
};

QTEST_GUILESS_MAIN(RestGameEnginesTest)
#include "RestGameEnginesTest.moc"
