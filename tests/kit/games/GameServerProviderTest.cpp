#include "kit/games/GameServerProvider.h"

#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/games/GameRegistry.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/A2SResponder.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/MinecraftResponder.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Ports = QList<quint16>;
using OptPort = std::optional<quint16>;
using Answers = QList<std::optional<FailureKind>>; // per try: how it failed, or nothing when it answered
Q_DECLARE_METATYPE(OptPort)
Q_DECLARE_METATYPE(Answers)
Q_DECLARE_METATYPE(tw::FailureKind)
Q_DECLARE_METATYPE(std::optional<qint64>)
Q_DECLARE_METATYPE(tw::test::A2SResponder::Info)
Q_DECLARE_METATYPE(QList<tw::test::A2SResponder::Player>)

namespace {

GameDefinition steamGame(QList<qint64> offsets, std::optional<qint64> fixed)
{
    GameDefinition game = *GameRegistry::definition(u"valheim"_s);
    game.queryPortOffsets = std::move(offsets);
    game.fixedQueryPort = fixed;
    return game;
}

GameServerProvider::Dependencies local()
{
    static QueryPortCache cache;
    return {{std::make_shared<BoundedHTTPClient>(), std::make_shared<TCPByteChannelFactory>(300ms)},
            std::make_shared<NoSRVResolver>(),
            std::make_shared<SocketUDPTransport>(),
            &cache,
            1s};
}

struct Outcome
{
    std::optional<GameServerStatus> status;
    QString failure;
};

Outcome poll(const GameServerConfig &config)
{
    try {
        GameServerProvider provider(config, std::make_shared<InMemoryCredentialStore>(), local());
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        return {std::get<GameServerStatus>(snapshot.widgets.first().payload), {}};
    } catch (const ProviderError &error) {
        return {std::nullopt, error.description()};
    }
}

// A Steam query stand-in: answers on some ports, fails the rest the one way, records every try.
struct SteamServers
{
    Ports answering;
    FailureKind failure = FailureKind::TimedOut;
    Ports tries;
};

QCoro::Task<GameFacts> queryFake(std::shared_ptr<SteamServers> servers, quint16 port)
{
    servers->tries.append(port);
    if (!servers->answering.contains(port))
        throw ProviderError::failure(servers->failure);
    co_return GameFacts{3, 10, {}, u"on :%1"_s.arg(port)};
}

QString describe(const Outcome &outcome)
{
    if (!outcome.status)
        return u"fails: "_s + outcome.failure;
    return outcome.status->online ? u"online: "_s + outcome.status->detail : u"offline: "_s + outcome.status->detail;
}

} // namespace

class GameServerProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void candidateQueryPorts_data()
    {
        QTest::addColumn<int>("gamePort");
        QTest::addColumn<QList<qint64>>("offsets");
        QTest::addColumn<int>("fixed"); // 0: none
        QTest::addColumn<OptPort>("user");
        QTest::addColumn<OptPort>("cached");
        QTest::addColumn<Ports>("candidates");
        QTest::newRow("offset") << 2456 << QList<qint64>{1} << 0 << OptPort() << OptPort() << Ports{2457};
        QTest::newRow("cached first") << 2456 << QList<qint64>{1} << 0 << OptPort() << OptPort(2460)
                                      << Ports{2460, 2457};
        QTest::newRow("cached equals a candidate")
            << 2456 << QList<qint64>{1} << 0 << OptPort() << OptPort(2457) << Ports{2457};
        QTest::newRow("fixed only") << 7777 << QList<qint64>{} << 27015 << OptPort() << OptPort() << Ports{27015};
        QTest::newRow("user port alone") << 7777 << QList<qint64>{0} << 27015 << OptPort(27020) << OptPort(9000)
                                         << Ports{27020};
        QTest::newRow("sum past 65535 dropped") << 65535 << QList<qint64>{1} << 0 << OptPort() << OptPort() << Ports{};
        QTest::newRow("two offsets and fixed")
            << 9876 << QList<qint64>{1, 15} << 9877 << OptPort() << OptPort() << Ports{9877, 9891};
    }
    void candidateQueryPorts()
    {
        QFETCH(int, fixed);
        const GameDefinition game =
            steamGame(TW_DATA(QList<qint64>, offsets), fixed ? std::optional<qint64>(fixed) : std::nullopt);
        QCOMPARE(GameServerProvider::candidateQueryPorts(quint16(TW_DATA(int, gamePort)),
                                                         game,
                                                         TW_DATA(OptPort, user),
                                                         TW_DATA(OptPort, cached)),
                 TW_DATA(Ports, candidates));
    }

    void probe_data()
    {
        QTest::addColumn<Ports>("candidates");
        QTest::addColumn<Answers>("answers");
        QTest::addColumn<Ports>("tried");
        QTest::addColumn<QString>("result"); // "ok:<port>" or the failure
        const std::optional<FailureKind> ok;
        const FailureKind silent = FailureKind::TimedOut;
        QTest::newRow("all silent") << Ports{2460, 2457} << Answers{FailureKind::ConnectionRefused, silent, silent}
                                    << Ports{2460, 2457, 2460} << u"no query port answered (tried :2460, :2457)"_s;
        QTest::newRow("host not found stops at once")
            << Ports{2460, 2457} << Answers{FailureKind::HostNotFound} << Ports{2460} << u"host not found"_s;
        QTest::newRow("host unreachable stops at once")
            << Ports{2460, 2457} << Answers{FailureKind::HostUnreachable} << Ports{2460} << u"host unreachable"_s;
        QTest::newRow("the first again at the end")
            << Ports{27015} << Answers{silent, ok} << Ports{27015, 27015} << u"ok:27015"_s;
    }
    void probe()
    {
        QFETCH(Answers, answers);
        Ports tried;
        QString result;
        try {
            const auto probed = await(
                GameServerProvider::probe(TW_DATA(Ports, candidates), [&](quint16 port) -> QCoro::Task<GameFacts> {
                    const std::optional<FailureKind> failure = answers.value(tried.size());
                    tried.append(port);
                    if (failure)
                        throw ProviderError::failure(*failure);
                    co_return GameFacts{};
                }));
            result = u"ok:"_s + QString::number(probed.port);
        } catch (const ProviderError &error) {
            result = error.description();
        }
        QCOMPARE(tried, TW_DATA(Ports, tried));
        QCOMPARE(result, TW_DATA(QString, result));
        try {
            await(GameServerProvider::probe({}, [](quint16) -> QCoro::Task<GameFacts> { co_return GameFacts{}; }));
            QFAIL("an empty list was probed");
        } catch (const ProviderError &error) {
            QCOMPARE(error, ProviderError::misconfigured(u"no query port to try"_s));
        }
    }

    void statusCuts()
    {
        GameServerConfig config(QUuid::createUuid(), u"Survival"_s, u"minecraft-java"_s, u"mc"_s, 25565);
        GameFacts facts;
        for (int i = 0; i < 65; ++i)
            facts.playerNames.append(u"p%1"_s.arg(i));
        facts.playerNames[0] = QString(80, u'n');
        facts.detail = QString(150, u'a') + QString(150, u'é');
        const GameServerStatus online = GameServerProvider::makeStatus(config, facts, 12.5, {});
        QVERIFY(online.online);
        QCOMPARE(online.id, u"Survival"_s);
        QCOMPARE(online.playerNames.size(), 64);
        QCOMPARE(online.playerNames.first().size(), 64);
        QCOMPARE(online.detail.size(), 200);
        // A flag is two code points and one character: cutting never splits it.
        const QString flags = QString(199, u'x') + u"🇩🇪🇩🇪"_s;
        const GameServerStatus offline = GameServerProvider::makeStatus(config, std::nullopt, 3.0, flags);
        QVERIFY(!offline.online);
        QCOMPARE(offline.latencyMs, std::nullopt);
        QCOMPARE(offline.detail, QString(199, u'x') + u"🇩🇪"_s);
    }

    // Eight names whose SRV look-ups the nameserver never answers must not make a ninth, answered
    // one miss its window and fall back to the bare name.
    void minecraftBehindEightSilentNames()
    {
        DnsResponder dns;
        QVERIFY(dns.start());
        MinecraftResponder server;
        server.replyWith(R"({"players":{"online":2,"max":20},"version":{"name":"Paper"}})");
        const auto resolver = std::make_shared<DnsSRVResolver>(dns.server());
        const StopToken stopSilent = makeStopToken();
        std::vector<QCoro::Task<std::optional<SRVRecord>>> silent;
        for (int i = 0; i < 8; ++i)
            silent.push_back(resolver->resolve(u"_minecraft._tcp.drop%1.example.test"_s.arg(i), 2s, stopSilent));
        // The fallback to the bare name must not reach the machine's own nameservers.
        struct LiteralsOnly : ByteChannelFactory
        {
            QCoro::Task<std::unique_ptr<ByteChannel>> connect(QString host, quint16 port, StopToken stop) override
            {
                if (QHostAddress(host).isNull())
                    throw ProviderError::upstream(u"fell back to "_s + host);
                co_return co_await TCPByteChannelFactory(3s).connect(host, port, stop);
            }
        };
        GameServerProvider::Dependencies dependencies = local();
        dependencies.resolver = resolver;
        dependencies.transports.channels = std::make_shared<LiteralsOnly>();
        GameServerConfig config(QUuid::createUuid(),
                                u"Survival"_s,
                                u"minecraft-java"_s,
                                u"port%1.example.test"_s.arg(server.port()),
                                25565);
        QElapsedTimer clock;
        clock.start();
        GameServerProvider provider(config, std::make_shared<InMemoryCredentialStore>(), dependencies);
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        const auto status = std::get<GameServerStatus>(snapshot.widgets.first().payload);
        qInfo("a good source among eight silent names: %s in %lld ms",
              status.online ? "online" : qPrintable(status.detail),
              clock.elapsed());
        QVERIFY2(status.online, qPrintable(status.detail));
        QVERIFY(clock.elapsed() < 1000);
        stopSilent->requestStop();
    }

    void steamQueryPortsAcrossPolls_data()
    {
        QTest::addColumn<std::optional<qint64>>("userPort");
        QTest::addColumn<OptPort>("cachedBefore");
        QTest::addColumn<Ports>("answering");
        QTest::addColumn<FailureKind>("failure");
        QTest::addColumn<Ports>("tries");
        QTest::addColumn<OptPort>("cachedAfter");
        QTest::addColumn<QString>("outcome");
        const std::optional<qint64> none;
        const FailureKind timedOut = FailureKind::TimedOut;
        QTest::newRow("the offset answers")
            << none << OptPort() << Ports{2457} << timedOut << Ports{2457} << OptPort(2457) << u"online: on :2457"_s;
        QTest::newRow("a stale cache costs one try") << none << OptPort(2460) << Ports{2457} << timedOut
                                                     << Ports{2460, 2457} << OptPort(2457) << u"online: on :2457"_s;
        QTest::newRow("nothing answers") << none << OptPort() << Ports{} << timedOut << Ports{2457, 2457} << OptPort()
                                         << u"offline: no query port answered (tried :2457)"_s;
        QTest::newRow("a failure keeps the old entry")
            << none << OptPort(2460) << Ports{} << timedOut << Ports{2460, 2457, 2460} << OptPort(2460)
            << u"offline: no query port answered (tried :2460, :2457)"_s;
        QTest::newRow("the user's port alone, and cached")
            << std::optional<qint64>(27020) << OptPort(2460) << Ports{27020, 2460} << timedOut << Ports{27020}
            << OptPort(27020) << u"online: on :27020"_s;
        QTest::newRow("the user's port out of range")
            << std::optional<qint64>(70000) << OptPort() << Ports{2457} << timedOut << Ports{} << OptPort()
            << u"fails: query port 70000 out of range (1-65535)"_s;
        QTest::newRow("host not found ends the probe") << none << OptPort(2460) << Ports{} << FailureKind::HostNotFound
                                                       << Ports{2460} << OptPort(2460) << u"offline: host not found"_s;
    }
    void steamQueryPortsAcrossPolls()
    {
        QueryPortCache cache;
        GameServerConfig config(QUuid::createUuid(), u"Viking"_s, u"valheim"_s, u"127.0.0.1"_s, 2456);
        config.queryPort = TW_DATA(std::optional<qint64>, userPort);
        if (const OptPort before = TW_DATA(OptPort, cachedBefore))
            cache.store(*before, config.id);
        auto servers =
            std::make_shared<SteamServers>(SteamServers{TW_DATA(Ports, answering), TW_DATA(FailureKind, failure), {}});
        GameServerProvider::Dependencies dependencies = local();
        dependencies.portCache = &cache;
        dependencies.queryServer = [servers](QString, quint16 port, GameDefinition, StopToken) {
            return queryFake(servers, port);
        };
        Outcome outcome;
        try {
            GameServerProvider provider(config, std::make_shared<InMemoryCredentialStore>(), dependencies);
            const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
            outcome.status = std::get<GameServerStatus>(snapshot.widgets.first().payload);
        } catch (const ProviderError &error) {
            outcome.failure = error.description();
        }
        QCOMPARE(describe(outcome), TW_DATA(QString, outcome));
        QCOMPARE(servers->tries, TW_DATA(Ports, tries));
        QCOMPARE(cache.port(config.id), TW_DATA(OptPort, cachedAfter));
    }

    void steamQueryOfRealGames_data()
    {
        QTest::addColumn<QString>("game");
        QTest::addColumn<A2SResponder::Info>("info");
        QTest::addColumn<QList<A2SResponder::Player>>("players");
        QTest::addColumn<QString>("row");
        QTest::newRow("Valheim asks no player list")
            << u"valheim"_s << A2SResponder::valheimInfo() << QList<A2SResponder::Player>{{"Ragnar"}}
            << u"online 3/10 [] Viking Hall"_s;
        QTest::newRow("Rust counts in its keywords, names from the list")
            << u"rust"_s << A2SResponder::rustInfo() << QList<A2SResponder::Player>{{"Alex"}, {"Noor"}}
            << u"online 280/300 [Alex,Noor] Tidewatch Rust | Monthly"_s;
        A2SResponder::Info latin1 = A2SResponder::valheimInfo();
        latin1.name = "caf\xE9";
        QTest::newRow("a Latin-1 name reads, its stray byte replaced")
            << u"valheim"_s << latin1 << QList<A2SResponder::Player>{} << u"online 3/10 [] caf\uFFFD"_s;
        QTest::newRow("Counter-Strike 2 counts its nameless players")
            << u"cs2"_s << A2SResponder::cs2Info() << A2SResponder::cs2Players()
            << u"online 4/12 [] Tidewatch CS2 Retakes"_s;
    }
    void steamQueryOfRealGames()
    {
        A2SResponder responder;
        responder.setChallenge(A2SResponder::Challenge::Once);
        responder.setInfo(TW_DATA(A2SResponder::Info, info));
        responder.setPlayers(TW_DATA(QList<A2SResponder::Player>, players));
        const QString gameID = TW_DATA(QString, game);
        // The game port one below, so that every catalogue offset of these games is tried first.
        GameServerConfig config(QUuid::createUuid(), u"G"_s, gameID, u"127.0.0.1"_s, 2456);
        config.queryPort = responder.port();
        const Outcome outcome = poll(config);
        QVERIFY2(outcome.status, qPrintable(outcome.failure));
        const GameServerStatus &row = *outcome.status;
        const auto count = [](std::optional<qint64> n) {
            return n ? QString::number(*n) : u"-"_s;
        };
        QCOMPARE(u"%1 %2/%3 [%4] %5"_s.arg(row.online ? u"online"_s : u"offline"_s,
                                           count(row.playersCurrent),
                                           count(row.playersMax),
                                           row.playerNames.join(u','),
                                           row.detail),
                 TW_DATA(QString, row));
        QVERIFY(row.latencyMs.has_value());
    }

    void aWrongSteamReplyStopsTheProbe()
    {
        // The cached port answers, wrongly; the catalogue's port would answer well but is not asked.
        A2SResponder wrong;
        wrong.splitInfo({.fragments = 2, .compressed = true});
        A2SResponder right;
        QueryPortCache cache;
        const GameServerConfig config(QUuid::createUuid(), u"V"_s, u"valheim"_s, u"127.0.0.1"_s, right.port() - 1);
        cache.store(wrong.port(), config.id);
        GameServerProvider::Dependencies dependencies = local();
        dependencies.portCache = &cache;
        GameServerProvider provider(config, std::make_shared<InMemoryCredentialStore>(), dependencies);
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        const auto row = std::get<GameServerStatus>(snapshot.widgets.first().payload);
        QVERIFY(!row.online);
        QCOMPARE(row.detail, u"compressed reply not supported"_s);
        QCOMPARE(wrong.infoRequests(), 1);
        QCOMPARE(right.infoRequests(), 0);
    }

    void whatFailsThePoll_data()
    {
        QTest::addColumn<QString>("game");
        QTest::addColumn<qint64>("port");
        QTest::addColumn<QString>("failure"); // empty: an offline row instead
        QTest::newRow("unknown game") << u"tetris"_s << qint64(1) << u"unknown game \"tetris\""_s;
        QTest::newRow("port 0") << u"minecraft-java"_s << qint64(0) << u"port 0 out of range (1-65535)"_s;
        QTest::newRow("port 70000") << u"minecraft-java"_s << qint64(70000) << u"port 70000 out of range (1-65535)"_s;
        QTest::newRow("refused is offline") << u"minecraft-java"_s << qint64(1) << QString();
    }
    void whatFailsThePoll()
    {
        const GameServerConfig config(QUuid::createUuid(),
                                      u"G"_s,
                                      TW_DATA(QString, game),
                                      u"127.0.0.1"_s,
                                      TW_DATA(qint64, port));
        const Outcome outcome = poll(config);
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        if (outcome.status) {
            QVERIFY(!outcome.status->online);
            QCOMPARE(outcome.status->detail, u"connection refused"_s);
        }
    }
};

QTEST_GUILESS_MAIN(GameServerProviderTest)
#include "GameServerProviderTest.moc"
