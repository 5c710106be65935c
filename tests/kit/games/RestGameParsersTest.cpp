#include "kit/games/RestGameParsers.h"

#include "kit/base/ProviderError.h"
#include "support/GamesFacts.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace tw::RestGames;
using namespace Qt::StringLiterals;

using Body = std::optional<QByteArray>;
Q_DECLARE_METATYPE(Body)

namespace {

QString describe(const std::function<GameFacts()> &parse)
{
    try {
        return gamesFacts(parse());
    } catch (const ProviderError &error) {
        return (error.kind() == ProviderError::Kind::Upstream ? u"offline: "_s : u"fails: "_s) + error.description();
    }
}

Body none()
{
    return std::nullopt;
}

} // namespace

class RestGameParsersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void palworld_data()
    {
        QTest::addColumn<Body>("info");
        QTest::addColumn<Body>("players");
        QTest::addColumn<Body>("metrics");
        QTest::addColumn<QString>("expected");
        const Body info = QByteArray(R"({"version":"v0.3.1","servername":"x"})");
        const Body metrics = QByteArray(R"({"currentplayernum":3,"maxplayernum":32})");
        QTest::newRow("all three") << info << Body(R"({"players":[{"name":"ann"},{"name":"bo"}]})") << metrics
                                   << u"2/32 [ann,bo] v0.3.1"_s;
        QTest::newRow("names beat the metric")
            << none() << Body(R"({"players":[{"name":"ann"}]})") << metrics << u"1/32 [ann] "_s;
        QTest::newRow("empty list, metric zero")
            << none() << Body(R"({"players":[]})") << Body(R"({"currentplayernum":0,"maxplayernum":"8"})")
            << u"0/8 [] "_s;
        QTest::newRow("nameless entries count without a metric")
            << none() << Body(R"({"players":[{"name":""},{"ip":"1.2.3.4"}]})") << none() << u"2/- [] "_s;
        QTest::newRow("metric beats nameless entries")
            << none() << Body(R"({"players":[{"name":""}]})") << metrics << u"3/32 [] "_s;
        QTest::newRow("list with a non-object is no list")
            << none() << Body(R"({"players":[{"name":"ann"},7]})") << none() << u"-/- [] "_s;
        QTest::newRow("info alone") << info << none() << none() << u"-/- [] v0.3.1"_s;
        QTest::newRow("empty version") << Body(R"({"version":""})") << none() << none() << u"-/- [] "_s;
        QTest::newRow("metrics as text and fraction")
            << none() << none() << Body(R"({"currentplayernum":"+4","maxplayernum":31.9})") << u"4/31 [] "_s;
        QTest::newRow("garbage metric") << none() << none() << Body(R"({"currentplayernum":"4 players"})")
                                        << u"-/- [] "_s;
        QTest::newRow("nothing") << none() << none() << none() << u"offline: malformed reply"_s;
        QTest::newRow("only invalid JSON")
            << Body("<html>") << Body(R"({"players":)") << Body("") << u"offline: malformed reply"_s;
        QTest::newRow("lists instead of objects")
            << Body("[]") << Body(R"([{"name":"a"}])") << Body("3") << u"offline: malformed reply"_s;
    }
    void palworld()
    {
        QFETCH(Body, info);
        QFETCH(Body, players);
        QFETCH(Body, metrics);
        QFETCH(QString, expected);
        QCOMPARE(describe([&] { return parsePalworld(objectReply(info), objectReply(players), objectReply(metrics)); }),
                 expected);
    }

    void fivem_data()
    {
        QTest::addColumn<Body>("info");
        QTest::addColumn<Body>("players");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both") << Body(R"({"vars":{"sv_projectName":"RP City","sv_maxClients":48,"hostname":"h"}})")
                              << Body(R"([{"name":"ann","id":1},{"name":"bo"}])") << u"2/48 [ann,bo] RP City"_s;
        QTest::newRow("empty project name falls back on hostname, max as text")
            << Body(R"({"vars":{"sv_projectName":"","hostname":"Host","sv_maxClients":"48"}})") << none()
            << u"-/48 [] Host"_s;
        QTest::newRow("lower-case max") << Body(R"({"vars":{"sv_maxclients":"64","sv_maxClients":"lots"}})") << none()
                                        << u"-/64 [] "_s;
        QTest::newRow("vars missing") << Body(R"({"server":"FXServer"})") << none() << u"-/- [] "_s;
        QTest::newRow("nameless players count")
            << none() << Body(R"([{"id":1},{"name":""},{"name":"c"}])") << u"3/- [c] "_s;
        QTest::newRow("empty player list") << none() << Body("[]") << u"0/- [] "_s;
        QTest::newRow("placeholders count without names")
            << none() << Body(R"([{"id":0,"name":"Player"},{"id":"0","name":"Player"}])") << u"2/- [] "_s;
        QTest::newRow("a real player may be called Player")
            << none() << Body(R"([{"id":7,"name":"Player"},{"id":0,"name":"Player"},{"name":"Player"}])")
            << u"3/- [Player,Player] "_s;
        QTest::newRow("player list with a non-object is missing")
            << Body(R"({"vars":{"hostname":"h"}})") << Body(R"([{"name":"a"},"b"])") << u"-/- [] h"_s;
        QTest::newRow("player object instead of list")
            << none() << Body(R"({"name":"a"})") << u"offline: malformed reply"_s;
        QTest::newRow("info list instead of object") << Body("[]") << none() << u"offline: malformed reply"_s;
        QTest::newRow("nothing") << none() << none() << u"offline: malformed reply"_s;
    }
    void fivem()
    {
        QFETCH(Body, info);
        QFETCH(Body, players);
        QFETCH(QString, expected);
        QCOMPARE(describe([&] { return parseFiveM(objectReply(info), objectListReply(players)); }), expected);
    }

    void tshock_data()
    {
        QTest::addColumn<Body>("status");
        QTest::addColumn<QString>("expected");
        QTest::newRow("full") << Body(R"({"status":"200","name":"Terra","playercount":2,"maxplayers":8,)"
                                      R"("players":[{"nickname":"ann","username":"a1"},{"nickname":"bo"}]})")
                              << u"2/8 [ann,bo] Terra"_s;
        QTest::newRow("empty nickname falls back on username")
            << Body(R"({"players":[{"nickname":"","username":"bob"},{"nickname":7,"username":"cy"}]})")
            << u"2/- [bob,cy] "_s;
        QTest::newRow("nameless entry counts without a name")
            << Body(R"({"players":[{"nickname":"ann"},{"group":"guest"}]})") << u"2/- [ann] "_s;
        QTest::newRow("count beats an empty list") << Body(R"({"playercount":5,"players":[]})") << u"5/- [] "_s;
        QTest::newRow("count as text beats the list")
            << Body(R"({"playercount":"1","players":[{"nickname":"a"},{"nickname":"b"}]})") << u"1/- [a,b] "_s;
        QTest::newRow("no count, no list") << Body(R"({"name":"","maxplayers":"16"})") << u"-/16 [] "_s;
        QTest::newRow("list with a non-object is no list")
            << Body(R"({"players":[{"nickname":"a"},null]})") << u"-/- [] "_s;
        QTest::newRow("list root") << Body(R"([{"nickname":"a"}])") << u"offline: malformed reply"_s;
        QTest::newRow("status 200 as a number") << Body(R"({"status":200,"playercount":1})") << u"1/- [] "_s;
        QTest::newRow("status without an error text")
            << Body(R"({"status":"500","playercount":1})") << u"offline: TShock answered status 500"_s;
        QTest::newRow("a token refused in a 200 is the user's to repair")
            << Body(R"({"status":"401","error":"Not authorized."})") << u"fails: Not authorized."_s;
        QTest::newRow("a response text stands in for the error")
            << Body(R"({"status":"404","response":"Unknown endpoint"})") << u"offline: Unknown endpoint"_s;
        QTest::newRow("invalid JSON") << Body(R"({"name":"Terra")") << u"offline: malformed reply"_s;
        QTest::newRow("nothing") << none() << u"offline: malformed reply"_s;
    }
    void tshock()
    {
        QFETCH(Body, status);
        QFETCH(QString, expected);
        QCOMPARE(describe([&] { return parseTShock(objectReply(status)); }), expected);
    }
};

QTEST_GUILESS_MAIN(RestGameParsersTest)
#include "RestGameParsersTest.moc"
