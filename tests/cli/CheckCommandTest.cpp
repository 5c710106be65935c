#include "kit/model/SourcesStore.h"
#include "kit/transport/ICMPEcho.h"
#include "support/A2SResponder.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/KumaPeer.h"
#include "support/LocalHttpServer.h"
#include "support/MinecraftResponder.h"
#include "support/RakNetResponder.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

#include <unistd.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

CliRun check(const QStringList &arguments)
{
    return runCli(QStringList{u"check"_s} + arguments);
}

// Whether some line of a report matches `pattern`, for rows whose latency cannot be known.
bool hasLine(const QByteArray &out, const QString &pattern)
{
    return !QString::fromUtf8(out).split(u'\n').filter(QRegularExpression(pattern)).isEmpty();
}

QJsonObject sourceNamed(const QJsonObject &report, const QString &name)
{
    for (const QJsonValue &value : report.value(u"sources"_s).toArray()) {
        if (value.toObject().value(u"displayName"_s).toString() == name)
            return value.toObject();
    }
    return {};
}

QJsonObject onlyRow(const QJsonObject &source)
{
    const QJsonObject widget = source.value(u"widgets"_s).toArray().first().toObject();
    return widget.value(widget.keys().first()).toObject().value(u"_0"_s).toObject();
}

bool pingAllowedHere()
{
    QFile file(u"/proc/sys/net/ipv4/ping_group_range"_s);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> range = file.readAll().simplified().split(' ');
    const qint64 gid = qint64(::getgid());
    return range.size() == 2 && range.at(0).toLongLong() <= gid && gid <= range.at(1).toLongLong();
}

} // namespace

class CheckCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsEverySourceAsJson()
    {
        QTemporaryDir dir;
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closed = probe.serverPort();
        probe.close();
        LocalHttpServer web;
        web.route("/ok", {.status = 200});
        web.route("/broken", {.status = 503});

        SourcesStore::save({TCPPortConfig(QUuid::createUuid(), u"open"_s, u"127.0.0.1"_s, listener.serverPort()),
                            TCPPortConfig(QUuid::createUuid(), u"closed"_s, u"127.0.0.1"_s, closed),
                            HTTPPingConfig(QUuid::createUuid(), u"web ok"_s, web.url(u"/ok"_s)),
                            HTTPPingConfig(QUuid::createUuid(), u"web broken"_s, web.url(u"/broken"_s)),
                            ICMPPingConfig(QUuid::createUuid(), u"ping"_s, u"127.0.0.1"_s, 2),
                            TLSCertificateConfig(QUuid::createUuid(), u"certificate"_s, u"127.0.0.1"_s, closed)},
                           dir.path());
        const QString file = SourcesStore::sourcesPath(dir.path());
        const QByteArray before = contents(file);

        const CliRun run = check({u"--sources"_s, file, u"--json"_s});
        QCOMPARE(run.exitCode, 2);
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(report.value(u"overall"_s).toString(), u"down"_s);
        QCOMPARE(report.value(u"sources"_s).toArray().size(), 6);
        QCOMPARE(sourceNamed(report, u"open"_s).value(u"kind"_s).toString(), u"tcpPort"_s);

        const QJsonObject open = onlyRow(sourceNamed(report, u"open"_s));
        QCOMPARE(open.value(u"status"_s).toString(), u"up"_s);
        QVERIFY(open.value(u"latencyMs"_s).toDouble() > 0);
        const QJsonObject shut = onlyRow(sourceNamed(report, u"closed"_s));
        QCOMPARE(shut.value(u"status"_s).toString(), u"down"_s);
        QCOMPARE(shut.value(u"detail"_s).toString(), u"closed"_s);
        QCOMPARE(onlyRow(sourceNamed(report, u"certificate"_s)).value(u"status"_s).toString(), u"down"_s);
        QCOMPARE(onlyRow(sourceNamed(report, u"web ok"_s)).value(u"status"_s).toString(), u"up"_s);
        const QJsonObject broken = onlyRow(sourceNamed(report, u"web broken"_s));
        QCOMPARE(broken.value(u"status"_s).toString(), u"down"_s);
        QCOMPARE(broken.value(u"detail"_s).toString(), u"HTTP 503"_s);
        QVERIFY(sourceNamed(report, u"web ok"_s).value(u"error"_s).isNull());
        // This machine's kernel decides the ping; either way the row says what happened.
        const QJsonObject ping = onlyRow(sourceNamed(report, u"ping"_s));
        if (pingAllowedHere()) {
            QCOMPARE(ping.value(u"status"_s).toString(), u"up"_s);
        } else {
            QCOMPARE(ping.value(u"status"_s).toString(), u"down"_s);
            QCOMPARE(ping.value(u"detail"_s).toString(), QString::fromLatin1(ICMPEcho::notPermittedText));
        }

        QCOMPARE(contents(file), before);
    }

    // A host that fails behind a router that is down is counted once, through the router; the
    // report says which source it is behind.
    void countsWhatFailsBehindADownParentOnce_data()
    {
        QTest::addColumn<QString>("router"); // "open", "closed", or "unreachable": a service that can't be polled
        QTest::addColumn<bool>("hostsOpen");
        QTest::addColumn<bool>("loop"); // the hosts sit behind each other instead
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("behind");
        QTest::newRow("router closed, hosts closed") << u"closed"_s << false << false << 2 << true;
        QTest::newRow("router unreachable, hosts closed: a warning") << u"unreachable"_s << false << false << 1 << true;
        QTest::newRow("router open, hosts closed") << u"open"_s << false << false << 2 << false;
        QTest::newRow("router closed, hosts open") << u"closed"_s << true << false << 2 << false;
        QTest::newRow("a loop counts each") << u"unreachable"_s << false << true << 2 << false;
    }
    void countsWhatFailsBehindADownParentOnce()
    {
        QFETCH(QString, router);
        QFETCH(bool, hostsOpen);
        QFETCH(bool, loop);
        QFETCH(int, exitCode);
        QFETCH(bool, behind);
        QTemporaryDir dir;
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 closed = probe.serverPort();
        probe.close();

        const QUuid routerId = QUuid::createUuid();
        QList<AnySourceConfig> sources;
        if (router == u"unreachable"_s)
            sources.append(JSONWidgetConfig(routerId,
                                            u"Router"_s,
                                            u"http://127.0.0.1:%1/status"_s.arg(closed),
                                            {{u"Uptime"_s, u"uptime"_s}}));
        else
            sources.append(TCPPortConfig(routerId,
                                         u"Router"_s,
                                         u"127.0.0.1"_s,
                                         router == u"open"_s ? listener.serverPort() : closed));
        QList<QUuid> hosts{QUuid::createUuid(), QUuid::createUuid()};
        for (qsizetype i = 0; i < hosts.size(); ++i) {
            TCPPortConfig host(hosts[i],
                               u"Host %1"_s.arg(i),
                               u"127.0.0.1"_s,
                               hostsOpen ? listener.serverPort() : closed);
            host.dependsOn = loop ? hosts[1 - i] : routerId;
            sources.append(host);
        }
        // Written by hand, as a loop can only be: the store would clear it on reading.
        QFile file(dir.filePath(u"sources.json"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(SourcesStore::encode(sources));
        file.close();

        const CliRun run = check({u"--sources"_s, file.fileName(), u"--json"_s});
        QCOMPARE(run.exitCode, exitCode);
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        QVERIFY(sourceNamed(report, u"Router"_s).value(u"dependsOn"_s).isNull());
        QVERIFY(sourceNamed(report, u"Router"_s).value(u"behind"_s).isNull());
        for (qsizetype i = 0; i < hosts.size(); ++i) {
            const QJsonObject host = sourceNamed(report, u"Host %1"_s.arg(i));
            QCOMPARE(host.value(u"dependsOn"_s).toString(),
                     loop ? QString() : routerId.toString(QUuid::WithoutBraces).toUpper());
            QCOMPARE(host.value(u"behind"_s).toString(),
                     behind ? routerId.toString(QUuid::WithoutBraces).toUpper() : QString());
        }

        const CliRun table = check({u"--sources"_s, file.fileName()});
        QCOMPARE(table.exitCode, exitCode);
        QCOMPARE(hasLine(table.out, u"^Host 0 +\\S.* +behind Router "_s), behind);
    }

    // Each game's row as the text report prints it; the Steam servers are found through each
    // game's query port offset from the game port, as a user would set them up.
    void gameServersShowPlayersAndDetails()
    {
        QTemporaryDir dir;
        MinecraftResponder java;
        java.replyWith(R"({"version":{"name":"Paper 1.21.4","protocol":769},"players":{"max":20,"online":2,)"
                       R"("sample":[{"name":"Alex","id":"a"},{"name":"Noor","id":"b"}]},"description":"hi"})");
        RakNetResponder bedrock;
        bedrock.replyWith("MCPE;Island;712;1.21.2;3;10;1234;world;Survival;1;19132;19133;");
        const quint16 nothing = [] {
            QUdpSocket probe;
            probe.bind(QHostAddress::LocalHost, 0);
            return probe.localPort();
        }();
        A2SResponder valheim;
        valheim.setInfo(A2SResponder::valheimInfo());
        A2SResponder rust;
        rust.setChallenge(A2SResponder::Challenge::Once);
        rust.setInfo(A2SResponder::rustInfo());
        rust.setPlayers({{"Alex"}, {"Noor"}, {"Sam"}});
        rust.splitPlayers({.fragments = 2, .order = {1, 0}});
        const auto game = [](const QString &name, const QString &gameID, quint16 port) {
            return GameServerConfig(QUuid::createUuid(), name, gameID, u"127.0.0.1"_s, port);
        };
        SourcesStore::save({game(u"Java"_s, u"minecraft-java"_s, java.port()),
                            game(u"Bedrock"_s, u"minecraft-bedrock"_s, bedrock.port()),
                            game(u"Gone"_s, u"minecraft-bedrock"_s, nothing),
                            game(u"Vikings"_s, u"valheim"_s, quint16(valheim.port() - 1)),
                            game(u"Rust"_s, u"rust"_s, rust.port())},
                           dir.path());

        const CliRun run = check({u"--sources"_s, SourcesStore::sourcesPath(dir.path())});
        QCOMPARE(run.exitCode, 2);
        for (const QString &line :
             {uR"(^Java +Java +up +\d+\.\d ms +2/20 players \(Alex, Noor\) · Paper 1\.21\.4$)"_s,
              uR"(^Bedrock +Bedrock +up +\d+\.\d ms +3/10 players · 1\.21\.2$)"_s,
              uR"(^Gone +Gone +down +— +connection refused$)"_s,
              uR"(^Vikings +Vikings +up +\d+\.\d ms +3/10 players · Viking Hall$)"_s,
              uR"(^Rust +Rust +up +\d+\.\d ms +280/300 players \(Alex, Noor, Sam\) · Tidewatch Rust \| Monthly$)"_s})
            QVERIFY2(hasLine(run.out, line), qPrintable(line + u'\n' + QString::fromUtf8(run.out)));
        QCOMPARE(bedrock.received().size(), 1);
    }

    // Kuma 2.x as its own code answers: a status page whose heartbeat bar has empty buckets, and a
    // metrics page whose URL label, written after the name, holds braces. The page's rows carry the
    // monitors' names, and the down monitor reads down through either way in.
    void kumaTwoStatusPageAndMetrics()
    {
        QTemporaryDir dir;
        const QList<KumaPeer::Monitor> monitors{
            {.id = 4,
             .name = u"API"_s,
             .beats = QJsonDocument::fromJson(R"([0,{"status":1,"time":"t","msg":"","ping":null},)"
                                              R"({"status":0,"time":"t","msg":"","ping":null},{"status":null},0])")
                          .array(),
             .status = 0,
             .url = u"http://api.lan/v1/{tenant}/health"_s,
             .tags = {u"Production"_s}},
            {.id = 10,
             .name = u"NAS {main}"_s,
             .beats = QJsonDocument::fromJson(R"([{"status":1,"ping":12},0])").array(),
             .ping = 12,
             .url = u"https://nas.lan/"_s},
            {.id = 7, .name = u"Backup"_s, .beats = QJsonDocument::fromJson("[0,0]").array()},
        };
        KumaPeer peer(KumaPeer::Version::V2, u"home"_s, monitors, u"uk1_key"_s);
        KumaConfig page(QUuid::createUuid(), u"Kuma page"_s, peer.url());
        page.statusPageSlug = u"Home"_s;
        KumaConfig metrics(QUuid::createUuid(), u"Kuma metrics"_s, peer.url());
        metrics.username = u""_s;
        metrics.passwordRef = u"kuma-key"_s;
        SourcesStore::save({page, metrics}, dir.path());
        const QString secrets = dir.filePath(u"secrets.json"_s);
        putPrivate(secrets, R"({"kuma-key":"uk1_key"})");

        const CliRun run = check({u"--sources"_s, SourcesStore::sourcesPath(dir.path()), u"--credentials"_s, secrets});
        QCOMPARE(run.exitCode, 2);
        const QStringList lines = QString::fromUtf8(run.out).split(u'\n');
        const auto row = [&lines](const QString &pattern) {
            return lines.filter(QRegularExpression(pattern)).size();
        };
        QVERIFY2(row(uR"(^Kuma page +API +down +— +$)"_s) == 1, run.out.constData());
        QVERIFY2(row(uR"(^Kuma page +NAS \{main\} +up +12\.0 ms +$)"_s) == 1, run.out.constData());
        QVERIFY2(row(uR"(^Kuma metrics +API +down +— +$)"_s) == 1, run.out.constData());
        QVERIFY2(row(uR"(^Kuma metrics +NAS \{main\} +up +12\.0 ms +$)"_s) == 1, run.out.constData());
        QVERIFY2(row(uR"(^Kuma metrics +Backup +up )"_s) == 1, run.out.constData());
        QCOMPARE(row(u"^Kuma page +Backup"_s), 0); // no real beat yet
        QCOMPARE(lines.filter(u"Kuma "_s).size(), 5);

        // The rows keep the monitors' ids as their keys, so layouts and history stay with them.
        // Without its key the metrics source fails, and says which secret it lacks.
        putPrivate(secrets, "{}");
        const CliRun json =
            check({u"--sources"_s, SourcesStore::sourcesPath(dir.path()), u"--credentials"_s, secrets, u"--json"_s});
        QCOMPARE(json.exitCode, 2);
        const QJsonObject report = QJsonDocument::fromJson(json.out).object();
        QCOMPARE(sourceNamed(report, u"Kuma metrics"_s).value(u"error"_s).toString(),
                 u"missing credential: kuma-key"_s);
        QStringList keys;
        for (const QJsonValue &widget : sourceNamed(report, u"Kuma page"_s).value(u"widgets"_s).toArray()) {
            const QJsonObject service = widget.toObject().value(u"service"_s).toObject().value(u"_0"_s).toObject();
            keys.append(service.value(u"id"_s).toString() + u'=' + service.value(u"name"_s).toString());
        }
        QCOMPARE(keys, (QStringList{u"10=NAS {main}"_s, u"4=API"_s}));
    }

    // A Beszel hub as PocketBase answers it: a token it does not accept lists nothing, and a drive the
    // agent could not read has a temperature of 0.
    void beszelHubAsPocketBaseAnswers()
    {
        QTemporaryDir dir;
        LocalHttpServer hub;
        hub.fallback([](const LocalHttpServer::Request &request) {
            const bool accepted = request.head.contains("Authorization: Bearer good");
            const QByteArray none = R"({"page":1,"perPage":200,"totalItems":0,"totalPages":0,"items":[]})";
            if (request.path.startsWith("/api/collections/systems/records"))
                return LocalHttpServer::Reply{
                    .body = accepted ? QByteArray(R"({"page":1,"perPage":200,"totalItems":1,"totalPages":1,"items":[)"
                                                  R"({"id":"abc123def456ghi","name":"nas01","status":"up",)"
                                                  R"("info":{"cpu":3.2,"mp":41,"dp":77}}]})")
                                     : none};
            if (request.path.startsWith("/api/collections/smart_devices/records"))
                return LocalHttpServer::Reply{
                    .body = accepted ? QByteArray(R"({"items":[{"id":"a1b2c3d4e5","system":"abc123def456ghi",)"
                                                  R"("name":"/dev/sda","temp":38},{"id":"f6g7h8i9j0",)"
                                                  R"("system":"abc123def456ghi","name":"/dev/sdb","temp":0}]})")
                                     : none};
            return LocalHttpServer::Reply{.status = 404};
        });
        SourcesStore::save({BeszelConfig(QUuid::createUuid(), u"Hub"_s, hub.url(QString()), u"hub-token"_s),
                            BeszelConfig(QUuid::createUuid(), u"Stale"_s, hub.url(QString()), u"stale-token"_s)},
                           dir.path());
        const QString secrets = dir.filePath(u"secrets.json"_s);
        putPrivate(secrets, R"({"hub-token":"good","stale-token":"expired"})");

        const CliRun run = check({u"--sources"_s, SourcesStore::sourcesPath(dir.path()), u"--credentials"_s, secrets});
        QCOMPARE(run.exitCode, 1); // a failed poll is not a down host
        QVERIFY2(
            hasLine(run.out, uR"(^Hub +nas01 +up +— +cpu 3% · mem 41% · disk 77% · /dev/sda 38°C · /dev/sdb —$)"_s),
            run.out.constData());
        QVERIFY2(hasLine(run.out, uR"(^Stale +— +error +— +no systems visible — the token may be wrong or expired$)"_s),
                 run.out.constData());
    }

    void exitStatusFollowsTheEstate_data()
    {
        QTest::addColumn<QByteArray>("file"); // written as the sources file; empty for none
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("missing file") << QByteArray() << 3 << QByteArray("no sources file");
        QTest::newRow("corrupt file") << QByteArray("[{\"tcpPort\":") << 3 << QByteArray("not a valid sources file");
        QTest::newRow("no sources") << QByteArray("[]") << 3 << QByteArray();
        QTest::newRow("unsupported kind is degraded")
            << QByteArray("[{\"kuma\":{\"_0\":{\"id\":\"5A1A4E1C-0000-4000-8000-000000000001\","
                          "\"displayName\":\"K\",\"baseURL\":\"http://127.0.0.1:1\",\"pollInterval\":60,"
                          "\"alertThreshold\":3,\"alertsEnabled\":true}}}]")
            << 1 << QByteArray();
    }
    void exitStatusFollowsTheEstate()
    {
        QFETCH(QByteArray, file);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"sources.json"_s);
        if (!file.isEmpty())
            put(path, file);
        const CliRun run = check({u"--sources"_s, path});
        QFETCH(int, exitCode);
        QFETCH(QByteArray, message);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.err.contains(message), run.err.constData());
        if (!file.isEmpty())
            QCOMPARE(contents(path), file); // never moved aside or rewritten
    }

    // The other tests' credentials files are the owner's alone, and are read.
    void sharedCredentialsFileIsRefused()
    {
        QTemporaryDir dir;
        SourcesStore::save({}, dir.path());
        const QString secrets = dir.filePath(u"secrets.json"_s);
        put(secrets, R"({"kuma-x":"hunter2"})");
        QVERIFY(
            QFile::setPermissions(secrets, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
        const CliRun refused =
            check({u"--sources"_s, SourcesStore::sourcesPath(dir.path()), u"--credentials"_s, secrets});
        QCOMPARE(refused.exitCode, 3);
        QVERIFY(refused.err.contains("may be read by other users"));
    }
};

QTEST_GUILESS_MAIN(CheckCommandTest)
#include "CheckCommandTest.moc"
