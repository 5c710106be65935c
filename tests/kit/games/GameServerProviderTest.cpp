#include "kit/games/GameServerProvider.h"

#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/games/A2SReplyError.h"
#include "kit/games/GameRegistry.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/A2SResponder.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/GamesFacts.h"
#include "support/LocalHttpServer.h"
#include "support/MinecraftResponder.h"
#include "support/TestData.h"

#include <QSet>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Ports = QList<quint16>;
using OptPort = std::optional<quint16>;
// Per try: how it failed (Other: something answered, wrongly), or nothing when it answered.
using Answers = QList<std::optional<FailureKind>>;
Q_DECLARE_METATYPE(OptPort)
Q_DECLARE_METATYPE(Answers)
Q_DECLARE_METATYPE(std::optional<qint64>)

namespace {

GameServerProvider::Dependencies local()
{
    static QueryPortCache cache;
    return {{std::make_shared<BoundedHTTPClient>(), std::make_shared<TCPByteChannelFactory>(300ms)},
            std::make_shared<NoSRVResolver>(),
            std::make_shared<SocketUDPTransport>(),
            &cache,
            1s};
}

// "online 3/10 [a,b] detail", "offline -/- [] why", or "fails: why" when the poll itself fails.
QString poll(const GameServerConfig &config,
             const GameServerProvider::Dependencies &dependencies = local(),
             std::shared_ptr<CredentialStore> credentials = std::make_shared<InMemoryCredentialStore>())
{
    try {
        GameServerProvider provider(config, credentials, dependencies);
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        const auto row = std::get<GameServerStatus>(snapshot.widgets.first().payload);
        return (row.online ? u"online "_s : u"offline "_s)
            + gamesFacts({row.playersCurrent, row.playersMax, row.playerNames, row.detail});
    } catch (const ProviderError &error) {
        return u"fails: "_s + error.description();
    }
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
        QTest::newRow("cached first") << 2456 << QList<qint64>{1} << 0 << OptPort() << OptPort(2460)
                                      << Ports{2460, 2457};
        QTest::newRow("user port alone") << 7777 << QList<qint64>{0} << 27015 << OptPort(27020) << OptPort(9000)
                                         << Ports{27020};
        QTest::newRow("sum past 65535 dropped") << 65535 << QList<qint64>{1} << 0 << OptPort() << OptPort() << Ports{};
        QTest::newRow("two offsets and fixed")
            << 9876 << QList<qint64>{1, 15} << 9877 << OptPort() << OptPort() << Ports{9877, 9891};
    }
    void candidateQueryPorts()
    {
        QFETCH(int, fixed);
        GameDefinition game = *GameRegistry::definition(u"valheim"_s);
        game.queryPortOffsets = TW_DATA(QList<qint64>, offsets);
        game.fixedQueryPort = fixed ? std::optional<qint64>(fixed) : std::nullopt;
        QCOMPARE(GameServerProvider::candidateQueryPorts(quint16(TW_DATA(int, gamePort)),
                                                         game,
                                                         TW_DATA(OptPort, user),
                                                         TW_DATA(OptPort, cached)),
                 TW_DATA(Ports, candidates));
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
        QCOMPARE(online.playerNames.size(), 64);
        QCOMPARE(online.playerNames.first().size(), 64);
        QCOMPARE(online.detail.size(), 200);
        // A flag is two code points and one character: cutting never splits it.
        const QString flags = QString(199, u'x') + u"🇩🇪🇩🇪"_s;
        const GameServerStatus offline = GameServerProvider::makeStatus(config, std::nullopt, 3.0, flags);
        QCOMPARE(offline.latencyMs, std::nullopt);
        QCOMPARE(offline.detail, QString(199, u'x') + u"🇩🇪"_s);
    }

    // The Minecraft engine asks the resolver it is given and connects where the SRV record points;
    // the bare name is never looked up, so it must not reach the machine's own nameservers.
    void minecraftFollowsItsSRVRecord()
    {
        DnsResponder dns;
        QVERIFY(dns.start());
        MinecraftResponder server;
        server.replyWith(R"({"players":{"online":2,"max":20},"version":{"name":"Paper"}})");
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
        dependencies.resolver = std::make_shared<DnsSRVResolver>(dns.server());
        dependencies.transports.channels = std::make_shared<LiteralsOnly>();
        GameServerConfig config(QUuid::createUuid(),
                                u"Survival"_s,
                                u"minecraft-java"_s,
                                u"port%1.example.test"_s.arg(server.port()),
                                25565);
        QCOMPARE(poll(config, dependencies), u"online 2/20 [] Paper"_s);
    }

    void steamQueryPortsAcrossPolls_data()
    {
        QTest::addColumn<std::optional<qint64>>("userPort");
        QTest::addColumn<OptPort>("cachedBefore");
        QTest::addColumn<Answers>("answers");
        QTest::addColumn<Ports>("tries");
        QTest::addColumn<OptPort>("cachedAfter");
        QTest::addColumn<QString>("outcome");
        const std::optional<qint64> none;
        const std::optional<FailureKind> ok;
        const FailureKind silent = FailureKind::TimedOut;
        QTest::newRow("the first again at the end")
            << none << OptPort(2460) << Answers{FailureKind::ConnectionRefused, silent, ok} << Ports{2460, 2457, 2460}
            << OptPort(2460) << u"online 3/10 [] on :2460"_s;
        QTest::newRow("a failure keeps the old entry")
            << none << OptPort(2460) << Answers{silent, silent, silent} << Ports{2460, 2457, 2460} << OptPort(2460)
            << u"offline -/- [] no query port answered (tried :2460, :2457)"_s;
        QTest::newRow("the user's port alone, and cached")
            << std::optional<qint64>(27020) << OptPort(2460) << Answers{ok} << Ports{27020} << OptPort(27020)
            << u"online 3/10 [] on :27020"_s;
        QTest::newRow("the user's port out of range")
            << std::optional<qint64>(70000) << OptPort() << Answers{} << Ports{} << OptPort()
            << u"fails: query port 70000 out of range (1-65535)"_s;
        QTest::newRow("a wrong reply ends the probe")
            << none << OptPort(2460) << Answers{FailureKind::Other} << Ports{2460} << OptPort(2460)
            << u"offline -/- [] compressed reply not supported"_s;
        QTest::newRow("host not found ends the probe")
            << none << OptPort(2460) << Answers{FailureKind::HostNotFound} << Ports{2460} << OptPort(2460)
            << u"offline -/- [] host not found"_s;
    }
    void steamQueryPortsAcrossPolls()
    {
        QueryPortCache cache;
        GameServerConfig config(QUuid::createUuid(), u"Viking"_s, u"valheim"_s, u"127.0.0.1"_s, 2456);
        config.queryPort = TW_DATA(std::optional<qint64>, userPort);
        if (const OptPort before = TW_DATA(OptPort, cachedBefore))
            cache.store(*before, config.id);
        const auto tries = std::make_shared<Ports>();
        GameServerProvider::Dependencies dependencies = local();
        dependencies.portCache = &cache;
        dependencies.queryServer = [tries, answers = TW_DATA(Answers, answers)](QString,
                                                                                quint16 port,
                                                                                GameDefinition,
                                                                                StopToken) -> QCoro::Task<GameFacts> {
            const std::optional<FailureKind> failure = answers.value(tries->size());
            tries->append(port);
            if (failure == FailureKind::Other)
                throw A2SReplyError::compressed();
            if (failure)
                throw ProviderError::failure(*failure);
            co_return GameFacts{3, 10, {}, u"on :%1"_s.arg(port)};
        };
        QCOMPARE(poll(config, dependencies), TW_DATA(QString, outcome));
        QCOMPARE(*tries, TW_DATA(Ports, tries));
        QCOMPARE(cache.port(config.id), TW_DATA(OptPort, cachedAfter));
    }

    // Rust counts past 255 only in its keywords: the catalogue must ask for them and for the list.
    void rustCountsInItsKeywords()
    {
        A2SResponder responder;
        responder.setChallenge(A2SResponder::Challenge::Once);
        responder.setInfo(A2SResponder::rustInfo());
        GameServerConfig config(QUuid::createUuid(), u"G"_s, u"rust"_s, u"127.0.0.1"_s, 2456);
        config.queryPort = responder.port();
        QCOMPARE(poll(config), u"online 280/300 [Alex,Noor] Tidewatch Rust | Monthly"_s);
    }

    void whatFailsThePoll_data()
    {
        QTest::addColumn<QString>("game");
        QTest::addColumn<qint64>("port");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("unknown game") << u"tetris"_s << qint64(1) << u"fails: unknown game \"tetris\""_s;
        QTest::newRow("port 70000") << u"minecraft-java"_s << qint64(70000)
                                    << u"fails: port 70000 out of range (1-65535)"_s;
        QTest::newRow("no query port left") << u"valheim"_s << qint64(65535) << u"fails: no query port to try"_s;
        QTest::newRow("refused is offline")
            << u"minecraft-java"_s << qint64(1) << u"offline -/- [] connection refused"_s;
    }
    void whatFailsThePoll()
    {
        const GameServerConfig config(QUuid::createUuid(),
                                      u"G"_s,
                                      TW_DATA(QString, game),
                                      u"127.0.0.1"_s,
                                      TW_DATA(qint64, port));
        QCOMPARE(poll(config), TW_DATA(QString, outcome));
    }

    void theSecretIsReadAsEachGameNeeds_data()
    {
        QTest::addColumn<QString>("game");
        QTest::addColumn<QString>("credentialRef"); // empty: none set
        QTest::addColumn<QString>("row");
        QTest::newRow("Palworld with its password") << u"palworld"_s << u"pals"_s << u"online 2/32 [] Pals"_s;
        QTest::newRow("Palworld without a reference")
            << u"palworld"_s << QString() << u"fails: missing credential: palworld"_s;
        QTest::newRow("FiveM with nothing stored") << u"fivem"_s << u"nothing-here"_s << u"online 1/48 [ann] Five"_s;
        QTest::newRow("TShock never reads the store")
            << u"terraria-tshock"_s << u"broken-store"_s << u"online 2/8 [] Terra"_s;
    }
    void theSecretIsReadAsEachGameNeeds()
    {
        LocalHttpServer server;
        server.route("/v1/api/info", {.body = R"({"version":"Pals"})"});
        server.route("/v1/api/metrics", {.body = R"({"currentplayernum":2,"maxplayernum":32})"});
        server.route("/info.json", {.body = R"({"vars":{"hostname":"Five","sv_maxClients":48}})"});
        server.route("/players.json", {.body = R"([{"name":"ann"}])"});
        server.route("/v2/server/status?players=true", {.body = R"({"name":"Terra","playercount":2,"maxplayers":8})"});
        class Store : public InMemoryCredentialStore
        {
        public:
            using InMemoryCredentialStore::InMemoryCredentialStore;
            QCoro::Task<std::optional<QString>> read(QString name) override
            {
                if (name == u"broken-store")
                    throw std::runtime_error("store unavailable");
                return InMemoryCredentialStore::read(name);
            }
        };
        GameServerConfig config(QUuid::createUuid(), u"G"_s, TW_DATA(QString, game), u"127.0.0.1"_s, server.port());
        if (const QString reference = TW_DATA(QString, credentialRef); !reference.isEmpty())
            config.credentialRef = reference;
        const auto store = std::make_shared<Store>(QHash<QString, QString>{{u"pals"_s, u"secret"_s}});
        QCOMPARE(poll(config, local(), store), TW_DATA(QString, row));
    }

    void catalogueInvariants()
    {
        const QList<GameDefinition> &games = GameRegistry::all();
        QSet<QString> ids;
        for (const GameDefinition &game : games) {
            QVERIFY2(!ids.contains(game.id), qPrintable(game.id));
            ids.insert(game.id);
            QVERIFY(game.defaultPort >= 1 && game.defaultPort <= 65535);
            QCOMPARE(gameEngineFromString(toText(game.engine)), game.engine);
            // Only the Steam query looks for a separate query port.
            if (game.engine == GameDefinition::Engine::A2S)
                QVERIFY(!game.queryPortOffsets.isEmpty() || game.fixedQueryPort);
            QVERIFY(!game.setupNote || game.setupNote->endsWith(u'.'));
        }
        QVERIFY(ids.contains(QString::fromLatin1(GameRegistry::defaultGameID)));
        QCOMPARE(gameEngineFromString(u"A2S"), std::nullopt);
    }

    void sections_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QStringList>("shape"); // "title:count"
        QTest::newRow("empty") << QString() << u"minecraft-java"_s
                               << QStringList{u"Minecraft:2"_s, u"Web API:4"_s, u"Steam Query:36"_s};
        QTest::newRow("blanks only") << u"  \t "_s << QString()
                                     << QStringList{u"Minecraft:2"_s, u"Web API:4"_s, u"Steam Query:36"_s};
        QTest::newRow("steam keeps the custom row and the selection")
            << u"steam"_s << u"minecraft-java"_s << QStringList{u"Minecraft:1"_s, u"Steam Query:1"_s};
        QTest::newRow("cs by id") << u"cs"_s << QString() << QStringList{u"Steam Query:2"_s};
        QTest::newRow("nothing but the selected game") << u"zzz"_s << u"valheim"_s << QStringList{u"Steam Query:1"_s};
        QTest::newRow("nothing at all") << u"zzz"_s << u"no-such-game"_s << QStringList{};
        QTest::newRow("web game searched, minecraft selected")
            << u"PALWORLD"_s << u"minecraft-bedrock"_s << QStringList{u"Minecraft:1"_s, u"Web API:1"_s};
    }
    void sections()
    {
        QFETCH(QString, query);
        QFETCH(QString, selected);
        QStringList shape;
        for (const GameSection &section : GameRegistry::gameSections(query, selected))
            shape.append(section.title + u':' + QString::number(section.games.size()));
        QCOMPARE(shape, TW_DATA(QStringList, shape));
    }
};

QTEST_GUILESS_MAIN(GameServerProviderTest)
#include "GameServerProviderTest.moc"
