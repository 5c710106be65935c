#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/LocalHttpServer.h"
#include "support/MinecraftResponder.h"
#include "support/TestData.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

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

// A port on this machine that nothing listens on.
quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

class CheckCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A host that fails behind a router that is down is counted once, through the router; the
    // report says which source it is behind. Which failures count so is DependencyGateTest's.
    void countsWhatFailsBehindADownParentOnce_data()
    {
        QTest::addColumn<QString>("router"); // "open", "closed", or "unreachable": a service that can't be polled
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("behind");
        QTest::newRow("router closed") << u"closed"_s << 2 << true;
        QTest::newRow("router unreachable: a warning") << u"unreachable"_s << 1 << true;
        QTest::newRow("router open") << u"open"_s << 2 << false;
    }
    void countsWhatFailsBehindADownParentOnce()
    {
        QFETCH(QString, router);
        QFETCH(int, exitCode);
        QFETCH(bool, behind);
        QTemporaryDir dir;
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        const quint16 closed = closedPort();

        const QUuid routerId = QUuid::createUuid();
        const quint16 routerPort = router == u"open"_s ? listener.serverPort() : closed;
        TCPPortConfig host(QUuid::createUuid(), u"Host"_s, u"127.0.0.1"_s, closed);
        host.dependsOn = routerId;
        if (router == u"unreachable"_s) // its secret is not there
            SourcesStore::save({BeszelConfig(routerId, u"Router"_s, u"http://127.0.0.1:9"_s, u"gone"_s), host},
                               dir.path());
        else
            SourcesStore::save({TCPPortConfig(routerId, u"Router"_s, u"127.0.0.1"_s, routerPort), host}, dir.path());
        const QString file = SourcesStore::sourcesPath(dir.path());
        const QByteArray before = contents(file);

        const CliRun run = check({u"--sources"_s, file, u"--json"_s});
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(contents(file), before);
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(report.value(u"overall"_s).toString(), exitCode == 2 ? u"down"_s : u"degraded"_s);
        QCOMPARE(report.value(u"sources"_s).toArray().size(), 2);
        QCOMPARE(sourceNamed(report, u"Router"_s).value(u"error"_s).isNull(), router != u"unreachable"_s);
        if (router != u"unreachable"_s) // a source that could not be polled has no rows
            QCOMPARE(onlyRow(sourceNamed(report, u"Router"_s)).value(u"latencyMs"_s).toDouble() > 0,
                     router == u"open"_s);
        QCOMPARE(sourceNamed(report, u"Host"_s).value(u"kind"_s).toString(), u"tcpPort"_s);
        QCOMPARE(onlyRow(sourceNamed(report, u"Host"_s)).value(u"detail"_s).toString(), u"closed"_s);
        QVERIFY(sourceNamed(report, u"Router"_s).value(u"behind"_s).isNull());
        const QString routerText = routerId.toString(QUuid::WithoutBraces).toUpper();
        QCOMPARE(sourceNamed(report, u"Host"_s).value(u"dependsOn"_s).toString(), routerText);
        QCOMPARE(sourceNamed(report, u"Host"_s).value(u"behind"_s).toString(), behind ? routerText : QString());

        const CliRun table = check({u"--sources"_s, file});
        QCOMPARE(table.exitCode, exitCode);
        QCOMPARE(hasLine(table.out, u"^Host +\\S.* +behind Router "_s), behind);
    }

    // The text report's line for each kind of reading: a game's players and own detail, a game that
    // is down, a host's figures with a drive the agent could not read (PocketBase gives it 0), and a
    // source that could not be polled.
    void tablePrintsEachReading()
    {
        QTemporaryDir dir;
        MinecraftResponder java;
        java.replyWith(R"({"version":{"name":"Paper 1.21.4","protocol":769},"players":{"max":20,"online":2,)"
                       R"("sample":[{"name":"Alex","id":"a"},{"name":"Noor","id":"b"}]},"description":"hi"})");
        LocalHttpServer hub;
        hub.route(
            "/api/collections/systems/records?perPage=200",
            {.body = R"({"items":[{"id":"s1","name":"nas01","status":"up","info":{"cpu":3.2,"mp":41,"dp":77}}]})"});
        hub.route("/api/collections/smart_devices/records?perPage=200",
                  {.body = R"({"items":[{"system":"s1","name":"/dev/sda","temp":38},{"system":"s1","name":"/dev/sdb",)"
                           R"("temp":0}]})"});
        const auto game = [](const QString &name, quint16 port) {
            return GameServerConfig(QUuid::createUuid(), name, u"minecraft-java"_s, u"127.0.0.1"_s, port);
        };
        SourcesStore::save({game(u"Java"_s, java.port()),
                            game(u"Gone"_s, closedPort()),
                            BeszelConfig(QUuid::createUuid(), u"Hub"_s, hub.url(QString()), u"hub-token"_s),
                            BeszelConfig(QUuid::createUuid(), u"Stale"_s, hub.url(QString()), u"gone-token"_s)},
                           dir.path());
        const QString secrets = dir.filePath(u"secrets.json"_s);
        putPrivate(secrets, R"({"hub-token":"good"})");

        const CliRun run = check({u"--sources"_s, SourcesStore::sourcesPath(dir.path()), u"--credentials"_s, secrets});
        QCOMPARE(run.exitCode, 2);
        for (const QString &line :
             {uR"(^Java +Java +up +\d+\.\d ms +2/20 players \(Alex, Noor\) · Paper 1\.21\.4$)"_s,
              uR"(^Gone +Gone +down +— +connection refused$)"_s,
              uR"(^Hub +nas01 +up +— +cpu 3% · mem 41% · disk 77% · /dev/sda 38°C · /dev/sdb —$)"_s,
              uR"(^Stale +— +error +— +missing credential: gone-token$)"_s})
            QVERIFY2(hasLine(run.out, line), qPrintable(line + u'\n' + QString::fromUtf8(run.out)));
    }

    void exitStatusFollowsTheEstate_data()
    {
        QTest::addColumn<QByteArray>("file"); // written as the sources file; empty for none
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<QByteArray>("credentials"); // a credentials file others may read; empty for none
        QTest::newRow("missing file") << QByteArray() << 3 << QByteArray("no sources file") << QByteArray();
        QTest::newRow("corrupt file") << QByteArray("[{\"tcpPort\":") << 3 << QByteArray("not a valid sources file")
                                      << QByteArray();
        QTest::newRow("no sources") << QByteArray("[]") << 3 << QByteArray() << QByteArray();
        QTest::newRow("unsupported kind is degraded")
            << QByteArray("[{\"kuma\":{\"_0\":{\"id\":\"5A1A4E1C-0000-4000-8000-000000000001\","
                          "\"displayName\":\"K\",\"baseURL\":\"http://127.0.0.1:1\",\"pollInterval\":60,"
                          "\"alertThreshold\":3,\"alertsEnabled\":true}}}]")
            << 1 << QByteArray() << QByteArray();
        QTest::newRow("credentials others may read")
            << QByteArray("[]") << 3 << QByteArray("may be read by other users") << QByteArray("{}");
    }
    void exitStatusFollowsTheEstate()
    {
        QFETCH(QByteArray, file);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"sources.json"_s);
        if (!file.isEmpty())
            put(path, file);
        QStringList arguments{u"--sources"_s, path};
        if (const QByteArray credentials = TW_DATA(QByteArray, credentials); !credentials.isEmpty()) {
            arguments << u"--credentials"_s << dir.filePath(u"secrets.json"_s);
            put(arguments.last(), credentials);
            QVERIFY(QFile::setPermissions(arguments.last(), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
        }
        const CliRun run = check(arguments);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, message);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.err.contains(message), run.err.constData());
        if (!file.isEmpty())
            QCOMPARE(contents(path), file); // never moved aside or rewritten
    }
};

QTEST_GUILESS_MAIN(CheckCommandTest)
#include "CheckCommandTest.moc"
