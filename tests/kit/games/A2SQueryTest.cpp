#include "kit/games/A2SQuery.h"

#include "kit/base/ProviderError.h"
#include "kit/games/A2SReplyError.h"
#include "support/A2SResponder.h"
#include "support/Await.h"
#include "support/GamesFacts.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Challenge = A2SResponder::Challenge;
using Split = A2SResponder::Split;

// How the responder behaves for one row.
struct Script
{
    Challenge challenge = Challenge::None;
    A2SResponder::Info info;
    QList<A2SResponder::Player> players{{"Alex"}, {"Noor"}};
    std::optional<QByteArray> rawInfo;
    std::optional<QByteArray> rawPlayers;
    Split infoSplit;
    Split playerSplit;
    bool silentInfo = false;
    bool silentPlayers = false;
};

// Counts the sessions closed, to show that every way out of a query closes its own.
class ClosingCounter : public UDPTransport
{
public:
    QCoro::Task<std::unique_ptr<UDPSession>>
    open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop) override
    {
        ++opened;
        std::unique_ptr<UDPSession> inner = co_await m_real.open(host, port, timeout, stop);
        co_return std::make_unique<Counted>(std::move(inner), closed);
    }
    int opened = 0;
    std::shared_ptr<int> closed = std::make_shared<int>(0);

private:
    class Counted : public UDPSession
    {
    public:
        Counted(std::unique_ptr<UDPSession> inner, std::shared_ptr<int> closed)
            : m_inner(std::move(inner))
            , m_closed(std::move(closed))
        { }
        QCoro::Task<> send(QByteArray datagram) override { return m_inner->send(datagram); }
        QCoro::Task<QByteArray> receive() override { return m_inner->receive(); }
        void close() override
        {
            ++*m_closed;
            m_inner->close();
        }

    private:
        std::unique_ptr<UDPSession> m_inner;
        std::shared_ptr<int> m_closed;
    };
    SocketUDPTransport m_real;
};

GameDefinition game(bool queriesPlayers, bool countsInKeywords)
{
    GameDefinition definition;
    definition.id = u"test"_s;
    definition.queriesPlayers = queriesPlayers;
    definition.playerCountInKeywords = countsInKeywords;
    return definition;
}

QByteArray bigInfo()
{
    // A real info reply with a keyword text long enough to need more than 64 KiB.
    return A2SResponder::infoReply({.keywords = QByteArray(70000, 'k')});
}

} // namespace

Q_DECLARE_METATYPE(Script)

class A2SQueryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void query_data()
    {
        QTest::addColumn<Script>("script");
        QTest::addColumn<bool>("queriesPlayers");
        QTest::addColumn<bool>("countsInKeywords");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("infoRequests");
        QTest::addColumn<int>("playerRequests");
        const QString online = u"2/16 [Alex,Noor] Tidewatch test"_s;
        const QString infoOnly = u"2/16 [] Tidewatch test"_s;
        const QString malformed = u"malformed reply"_s;
        const QString infoCounts = u"5/16 [] Tidewatch test"_s;

        QTest::newRow("info only") << Script{} << false << false << infoOnly << 1 << 0;
        QTest::newRow("info and players") << Script{} << true << false << online << 1 << 1;
        QTest::newRow("the list's length is the count")
            << Script{.info = {.players = 9}} << true << false << online << 1 << 1;
        QTest::newRow("empty names counted, not listed")
            << Script{.players = {{"a"}, {""}, {"b"}}} << true << false << u"3/16 [a,b] Tidewatch test"_s << 1 << 1;
        QTest::newRow("no players keeps the info count")
            << Script{.info = {.players = 4}, .players = {}} << true << false << u"4/16 [] Tidewatch test"_s << 1 << 1;
        QTest::newRow("keyword counts stay, names come")
            << Script{.info = {.players = 4, .keywords = "cp300,mp500"}} << true << true
            << u"300/500 [Alex,Noor] Tidewatch test"_s << 1 << 1;
        QTest::newRow("challenge once, reused for players")
            << Script{.challenge = Challenge::Once} << true << false << online << 2 << 1;
        QTest::newRow("challenge forever")
            << Script{.challenge = Challenge::Forever} << true << false << u"challenge loop exceeded"_s << 4 << 0;
        QTest::newRow("short challenge") << Script{.rawInfo = QByteArray::fromHex("FFFFFFFF41010203")} << true << false
                                         << malformed << 1 << 0;
        QTest::newRow("info of another type") << Script{.rawInfo = A2SResponder::infoReply({}).replace(4, 1, "m")}
                                              << true << false << malformed << 1 << 0;
        QTest::newRow("split, 2 0 1") << Script{.infoSplit = {.fragments = 3, .order = {2, 0, 1}}} << false << false
                                      << infoOnly << 1 << 0;
        QTest::newRow("a repeat replaces itself")
            << Script{.infoSplit = {.fragments = 2, .order = {1, 1, 0}}} << false << false << infoOnly << 1 << 0;
        QTest::newRow("33 fragments, one missing") << Script{.infoSplit = {.fragments = 2, .order = QList<int>(33, 0)}}
                                                   << false << false << malformed << 1 << 0;
        QTest::newRow("a fragment of another reply")
            << Script{.infoSplit = {.fragments = 3, .foreignAt = 1}} << false << false << malformed << 1 << 0;
        QTest::newRow("over 64 KiB") << Script{.rawInfo = bigInfo(), .infoSplit = {.fragments = 32}} << false << false
                                     << u"reply too large"_s << 1 << 0;
        QTest::newRow("a lost fragment") << Script{.infoSplit = {.fragments = 3, .order = {0, 2}}} << false << false
                                         << u"timed out"_s << 1 << 0;
        QTest::newRow("silent") << Script{.silentInfo = true} << true << false << u"timed out"_s << 1 << 0;
        // The info came: whatever goes wrong with the list leaves the server online with the info counts.
        QTest::newRow("player list with a bad header")
            << Script{.info = {.players = 5}, .rawPlayers = QByteArray::fromHex("FFFFFFFF4502")} << true << false
            << infoCounts << 1 << 1;
        QTest::newRow("player list silent")
            << Script{.info = {.players = 5}, .silentPlayers = true} << true << false << infoCounts << 1 << 1;
    }
    void query()
    {
        QFETCH(Script, script);
        A2SResponder responder;
        responder.setChallenge(script.challenge);
        responder.setInfo(script.info);
        responder.setPlayers(script.players);
        if (script.rawInfo)
            responder.setRawInfo(*script.rawInfo);
        if (script.rawPlayers)
            responder.setRawPlayers(*script.rawPlayers);
        responder.splitInfo(script.infoSplit);
        responder.splitPlayers(script.playerSplit);
        responder.silenceInfo(script.silentInfo);
        responder.silencePlayers(script.silentPlayers);

        auto udp = std::make_shared<ClosingCounter>();
        const A2SQuery::Limits limits{200ms, 10s};
        QString outcome;
        try {
            const GameFacts facts =
                await(A2SQuery::queryServer(u"127.0.0.1"_s,
                                            responder.port(),
                                            game(TW_DATA(bool, queriesPlayers), TW_DATA(bool, countsInKeywords)),
                                            udp,
                                            makeStopToken(),
                                            limits));
            outcome = gamesFacts(facts);
        } catch (const A2SReplyError &error) {
            outcome = error.reason();
        } catch (const ProviderError &error) {
            outcome = error.kind() == ProviderError::Kind::Upstream ? error.description()
                                                                    : u"fails: "_s + error.description();
        }
        QCOMPARE(outcome, TW_DATA(QString, outcome));
        QCOMPARE(responder.infoRequests(), TW_DATA(int, infoRequests));
        QCOMPARE(responder.playerRequests(), TW_DATA(int, playerRequests));
        QCOMPARE(udp->opened, 1);
        QCOMPARE(*udp->closed, 1);
    }

    void noAnswer_data()
    {
        QTest::addColumn<bool>("portClosed");
        QTest::addColumn<int>("overallMs");
        QTest::addColumn<QString>("failure");
        // Not the session's five seconds: the passed deadline is checked before waiting.
        QTest::newRow("deadline passed") << false << 0 << u"timed out"_s;
        QTest::newRow("refused is the session's text") << true << 10000 << u"connection refused"_s;
    }
    void noAnswer()
    {
        auto responder = std::make_unique<A2SResponder>();
        responder->silenceInfo(true);
        const quint16 port = responder->port();
        if (TW_DATA(bool, portClosed))
            responder.reset();
        auto udp = std::make_shared<ClosingCounter>();
        QElapsedTimer clock;
        clock.start();
        const A2SQuery::Limits limits{5s, std::chrono::milliseconds(TW_DATA(int, overallMs))};
        QString failure;
        try {
            await(A2SQuery::queryServer(u"127.0.0.1"_s, port, game(true, false), udp, makeStopToken(), limits));
        } catch (const ProviderError &error) {
            failure = error.description();
        }
        QCOMPARE(failure, TW_DATA(QString, failure));
        QVERIFY(clock.elapsed() < 1000);
        QCOMPARE(*udp->closed, 1);
    }
};

QTEST_GUILESS_MAIN(A2SQueryTest)
#include "A2SQueryTest.moc"
