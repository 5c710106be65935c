#include "kit/desktop/SourcesService.h"

#include "kit/model/SourcesStore.h"
#include "kit/monitor/AppState.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/Hub.h"
#include "support/TestData.h"

#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// The command line beside a running hub: a change of the hub's sources file goes through the hub
// over the session bus, and is refused when the owner of the application's name does not answer.
// A bus of the test's own, so that the application's name is free whatever else runs.
class SourcesServiceTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QProcess m_daemon;
    QString m_address;

    QProcessEnvironment cliEnvironment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_address);
        env.insert(u"HOME"_s, m_home.path());
        env.insert(u"XDG_DATA_HOME"_s, m_home.filePath(u"data"_s));
        env.insert(u"XDG_CONFIG_HOME"_s, m_home.filePath(u"config"_s));
        return env;
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString config = writeBusConfig(m_home.path());
        m_daemon.start(u"dbus-daemon"_s, {u"--config-file="_s + config, u"--print-address=1"_s, u"--nofork"_s});
        QVERIFY(m_daemon.waitForStarted());
        QTRY_VERIFY(m_daemon.canReadLine());
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        QVERIFY(!m_address.isEmpty());
    }

    void cleanupTestCase()
    {
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }

    void cliChangesGoThroughTheRunningHub_data()
    {
        QTest::addColumn<QString>("command"); // %1: a file of two sources, A and B
        QTest::addColumn<QString>("hub"); // "serving", "otherFile" (serves another folder), "silent"
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("said");
        QTest::addColumn<QStringList>("hubSources"); // afterwards
        QTest::addColumn<QStringList>("fileSources"); // in the file the command named

        const QString add = u"add httpPing --name Web --url http://127.0.0.1:9"_s;
        const QStringList before{u"NAS"_s};
        QTest::newRow("add, through the hub")
            << add << u"serving"_s << 0 << u"through Tidewatch, which is running and keeps"_s
            << QStringList{u"NAS"_s, u"Web"_s} << QStringList{u"NAS"_s, u"Web"_s};
        QTest::newRow("import, through the hub")
            << u"import %1"_s << u"serving"_s << 0 << u"Imported 2 sources through Tidewatch, which is running"_s
            << QStringList{u"A"_s, u"B"_s} << QStringList{u"A"_s, u"B"_s};
        QTest::newRow("add, the hub keeps another file")
            << add << u"otherFile"_s << 0 << u"Added Web (httpPing)"_s << before << QStringList{u"NAS"_s, u"Web"_s};
        QTest::newRow("add, the name's owner does not answer")
            << add << u"silent"_s << 75 << u"Tidewatch is running but does not answer"_s << before << before;
        QTest::newRow("import, the name's owner does not answer")
            << u"import %1"_s << u"silent"_s << 75 << u"Tidewatch is running but does not answer"_s << before << before;
    }
    void cliChangesGoThroughTheRunningHub()
    {
        QFETCH(QString, command);
        QFETCH(QString, hub);
        QTemporaryDir other;
        // The application's own folder, as the command line finds it from the environment.
        const QString folder = m_home.filePath(u"data/Tidewatch"_s);
        QDir(folder).removeRecursively();
        HTTPPingConfig nas(QUuid::createUuid(), u"NAS"_s, u"http://127.0.0.1:9"_s);
        SourcesStore::save({nas}, folder);
        SourcesStore::save({nas}, other.path());

        Hub fakes;
        AppState::Environment environment = fakes.environment();
        environment.sourcesDirectory = hub == u"otherFile"_s ? other.path() : folder;
        AppState state(environment);
        SourcesService service(&state);
        QDBusConnection bus =
            QDBusConnection::connectToBus(m_address, u"hub-%1"_s.arg(QString::fromUtf8(QTest::currentDataTag())));
        QVERIFY(bus.isConnected());
        auto leave = qScopeGuard([&] {
            bus.unregisterService(QString::fromLatin1(SourcesService::serviceName));
            QDBusConnection::disconnectFromBus(bus.name());
        });
        if (hub != u"silent"_s)
            QVERIFY(service.exportOn(bus));
        QVERIFY(bus.registerService(QString::fromLatin1(SourcesService::serviceName)));

        const QString exported = other.filePath(u"export.json"_s);
        put(exported,
            SourcesStore::encode({HTTPPingConfig(QUuid::createUuid(), u"A"_s, u"http://a"_s),
                                  HTTPPingConfig(QUuid::createUuid(), u"B"_s, u"http://b"_s)}));
        const CliRun run = runCli(QProcess::splitCommand(command.replace(u"%1"_s, exported)), {}, cliEnvironment());
        const QString said = QString::fromUtf8(run.out + run.err);
        QVERIFY2(run.exitCode == TW_DATA(int, exitCode), qPrintable(said));
        QVERIFY2(said.contains(TW_DATA(QString, said)), qPrintable(said));

        const auto names = [](const QList<AnySourceConfig> &sources) {
            QStringList out;
            for (const AnySourceConfig &source : sources)
                out << source.common().displayName;
            return out;
        };
        QCOMPARE(names(state.sources()), TW_DATA(QStringList, hubSources));
        QCOMPARE(names(SourcesStore::load(folder)), TW_DATA(QStringList, fileSources));
        if (hub == u"serving"_s)
            QCOMPARE(SourcesStore::load(folder), state.sources()); // written by the hub itself
    }
};

QTEST_GUILESS_MAIN(SourcesServiceTest)
#include "SourcesServiceTest.moc"
