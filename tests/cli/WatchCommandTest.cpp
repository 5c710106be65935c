#include "kit/model/BeszelConfig.h"
#include "kit/model/JsonRead.h"
#include "kit/model/PreferenceStore.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/HistoryStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WatchProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class WatchCommandTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QTcpServer m_server;
    QUuid m_id;

    void writeSources(qint64 threshold)
    {
        TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, m_server.serverPort());
        nas.pollInterval = 5;
        nas.alertThreshold = threshold;
        m_id = nas.id;
        SourcesStore::save({nas}, m_dir.path());
        putPrivate(m_dir.filePath(u"credentials.json"_s), "{}");
    }

    QList<ServiceStatus> recordedStatuses() const
    {
        QList<ServiceStatus> statuses;
        const PollHistory history = HistoryStore::load(m_dir.path());
        const QString key = JsonRead::uuidText(m_id) + u"/check:"_s + JsonRead::uuidText(m_id);
        for (const HistorySample &sample : history.samples.value(key))
            statuses.append(sample.status);
        return statuses;
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QFile::remove(m_dir.filePath(u"history.json"_s));
        QDir(m_dir.filePath(u"config"_s)).removeRecursively();
        QVERIFY(m_server.listen(QHostAddress::LocalHost, 0));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection())
                socket->deleteLater();
        });
    }
    void cleanup()
    {
        m_server.close();
        m_server.disconnect(this);
    }

    // The application's snoozes, quiet hours and mute switch, as it stores them, silence the
    // watch too: the outage is polled and printed as polls, never as an alert.
    void honoursTheApplicationsSilences_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value"); // %1: the source's id, %2: an hour from now (UTC)
        QTest::newRow("source snoozed for an hour") << u"snoozes"_s << uR"([{"source":"%1","until":"%2"}])"_s;
        QTest::newRow("everything snoozed") << u"snoozes"_s << uR"([{"until":"%2"}])"_s;
        QTest::newRow("inside quiet hours") << u"quietHoursEnabled"_s << u"true"_s;
        QTest::newRow("muted") << u"globalQuiet"_s << u"true"_s;
    }
    void honoursTheApplicationsSilences()
    {
        QFETCH(QString, key);
        writeSources(1);
        QFile::remove(m_dir.filePath(u"config/Tidewatch/preferences.json"_s));
        PreferenceStore settings(m_dir.filePath(u"config/Tidewatch/preferences.json"_s));
        const QDateTime hence = QDateTime::currentDateTimeUtc().addSecs(3600);
        QString value = TW_DATA(QString, value);
        value.replace(u"%1"_s, m_id.toString(QUuid::WithoutBraces)).replace(u"%2"_s, hence.toString(Qt::ISODate));
        settings.setValue(key, value);
        if (key == u"quietHoursEnabled"_s) {
            const QTime now = QTime::currentTime();
            settings.setValue(u"quietHoursStart"_s, now.addSecs(-3600).toString(u"HH:mm"_s));
            settings.setValue(u"quietHoursEnd"_s, now.addSecs(3600).toString(u"HH:mm"_s));
        }

        const quint16 port = m_server.serverPort();
        WatchProcess watch(m_dir.path(), 0.02);
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        m_server.close();
        for (int i = 0; i < 3; ++i)
            QVERIFY2(!watch.waitForLine(u"NAS down"_s).isEmpty(), qPrintable(watch.transcript()));
        QVERIFY(m_server.listen(QHostAddress::LocalHost, port));
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        watch.waitForLine(u"\x01"_s, 300);
        const QString transcript = watch.transcript();
        QVERIFY2(!transcript.contains(u"is down —"_s) && !transcript.contains(u"recovered —"_s),
                 qPrintable(transcript));
    }

    // The whole outage as a user sees it: silence until the threshold, one down line, one recovery.
    void alertsAfterTheThresholdAndOnceOnRecovery()
    {
        writeSources(3);
        const quint16 port = m_server.serverPort();
        WatchProcess watch(m_dir.path(), 0.02); // 5 s polls become 100 ms, back-off likewise
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        m_server.close();

        const QString down = watch.waitForLine(u"NAS is down"_s);
        QVERIFY2(down.endsWith(u"NAS is down — Unreachable for less than a minute"_s), qPrintable(watch.transcript()));
        const QStringList beforeDown = watch.takeSkipped().filter(u"poll"_s);
        QCOMPARE(beforeDown.filter(u"NAS down"_s).size(), 3);
        QCOMPARE(beforeDown.last().contains(u"NAS down"_s), true);

        // Failures past the threshold stay quiet; the listener's return is the next event.
        QVERIFY(watch.waitForLine(u"NAS down"_s).contains(u"poll"_s));
        QVERIFY(m_server.listen(QHostAddress::LocalHost, port));
        const QString recovered = watch.waitForLine(u"NAS recovered"_s);
        QVERIFY2(recovered.endsWith(u"NAS recovered — Back in under a minute"_s), qPrintable(watch.transcript()));
        QVERIFY(watch.takeSkipped().filter(u"is down"_s).isEmpty());
        QVERIFY(!watch.waitForLine(u"NAS up"_s).isEmpty());

        QCOMPARE(watch.stop(SIGTERM), 0);
        const QList<ServiceStatus> statuses = recordedStatuses();
        QVERIFY(statuses.size() >= 6);
        QCOMPARE(statuses.first(), ServiceStatus::Up);
        QVERIFY(statuses.count(ServiceStatus::Down) >= 4);
        QCOMPARE(statuses.last(), ServiceStatus::Up);
    }

    // Five hosts sit behind a router. When all six stop answering, the router's alert is the one
    // line, and it counts them; when all six are back, the router's recovery is the one line.
    void oneAlertForARouterAndTheFiveBehindIt()
    {
        std::vector<std::unique_ptr<QTcpServer>> servers;
        QList<quint16> ports;
        QList<AnySourceConfig> sources;
        const QUuid router = QUuid::createUuid();
        for (int i = 0; i < 6; ++i) {
            auto server = std::make_unique<QTcpServer>();
            QVERIFY(server->listen(QHostAddress::LocalHost, 0));
            ports.append(server->serverPort());
            TCPPortConfig config(i == 0 ? router : QUuid::createUuid(),
                                 i == 0 ? u"Router"_s : u"Host %1"_s.arg(i),
                                 u"127.0.0.1"_s,
                                 ports.last());
            config.pollInterval = 5;
            config.alertThreshold = 1;
            if (i > 0)
                config.dependsOn = router;
            sources.append(config);
            servers.push_back(std::move(server));
        }
        SourcesStore::save(sources, m_dir.path());
        putPrivate(m_dir.filePath(u"credentials.json"_s), "{}");
        const auto isAlert = [](const QString &line) {
            return !line.contains(u" poll "_s) && (line.contains(u" down "_s) || line.contains(u" recovered "_s));
        };

        WatchProcess watch(m_dir.path(), 0.02);
        for (int i = 0; i < 6; ++i) {
            const QString name = i == 0 ? u"Router"_s : u"Host %1"_s.arg(i);
            QVERIFY2(!watch.waitForLine(name + u": "_s + name + u" up"_s).isEmpty(), qPrintable(watch.transcript()));
        }
        for (const auto &server : servers)
            server->close();
        const QString down = watch.waitForLine(u"Router is down"_s);
        QVERIFY2(down.endsWith(u"Router is down — 5 sources behind it — Unreachable for less than a minute"_s),
                 qPrintable(watch.transcript()));
        // Every host fails, twice over, and none of them is told.
        for (int round = 0; round < 2; ++round) {
            for (int i = 1; i < 6; ++i)
                QVERIFY2(!watch.waitForLine(u"Host %1: Host %1 down"_s.arg(i)).isEmpty(),
                         qPrintable(watch.transcript()));
        }

        for (std::size_t i = 0; i < servers.size(); ++i)
            QVERIFY(servers[i]->listen(QHostAddress::LocalHost, ports[qsizetype(i)]));
        const QString recovered = watch.waitForLine(u"Router recovered"_s);
        QVERIFY2(!recovered.isEmpty(), qPrintable(watch.transcript()));
        for (int i = 1; i < 6; ++i)
            QVERIFY2(!watch.waitForLine(u"Host %1: Host %1 up"_s.arg(i)).isEmpty(), qPrintable(watch.transcript()));
        watch.waitForLine(u"\x01"_s, 500);
        QCOMPARE(watch.stop(SIGTERM), 0);
        QStringList alerts = watch.transcript().split(u'\n');
        alerts.removeIf([&](const QString &line) { return !isAlert(line); });
        QCOMPARE(alerts.size(), 2);
        QVERIFY2(alerts[0] == down && alerts[1] == recovered, qPrintable(alerts.join(u'\n')));
    }

    // A poll that fails before its first wait (here its secret is not there) counts from the very
    // first poll: the alert comes after one back-off, not a step later.
    void aMissingSecretAlertsOnSchedule()
    {
        writeSources(1); // the empty credentials file
        BeszelConfig hub(QUuid::createUuid(), u"Beszel"_s, u"http://127.0.0.1:9"_s, u"beszel-missing"_s);
        hub.pollInterval = 5;
        hub.alertThreshold = 2;
        SourcesStore::save({hub}, m_dir.path());
        QElapsedTimer clock;
        clock.start();
        WatchProcess watch(m_dir.path(), 0.2); // the first back-off, 10 s, becomes 2 s; a step more is 6 s
        const QString alert = watch.waitForLine(u"Beszel can't be reached"_s, 4500);
        QVERIFY2(!alert.isEmpty(), qPrintable(watch.transcript()));
        QVERIFY(clock.elapsed() >= 1900);
        const QStringList polls = watch.takeSkipped().filter(u" poll "_s);
        QCOMPARE(polls.size(), 2);
        for (const QString &poll : polls)
            QVERIFY2(poll.endsWith(u"Beszel: failed: missing credential: beszel-missing"_s), qPrintable(poll));
    }

    void signalFlushesHistoryAndExitsCleanly_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGINT, as Ctrl+C sends") << SIGINT;
        QTest::newRow("SIGTERM, as systemd and logout send") << SIGTERM;
    }
    void signalFlushesHistoryAndExitsCleanly()
    {
        QFETCH(int, signal);
        writeSources(3);
        WatchProcess watch(m_dir.path(), 0.2); // the history's write window is 6 s: only a flush writes sooner
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        QVERIFY(!QFile::exists(m_dir.filePath(u"history.json"_s)));
        QCOMPARE(watch.stop(signal), 0);
        QVERIFY(!recordedStatuses().isEmpty());
    }

    void refusesToStartWithoutSources_data()
    {
        QTest::addColumn<QByteArray>("sourcesFile");
        QTest::addColumn<QString>("message");
        QTest::newRow("empty list") << QByteArray("[]") << u"no sources to watch"_s;
        QTest::newRow("corrupt file") << QByteArray("[{") << u"is not a valid sources file"_s;
    }
    void refusesToStartWithoutSources()
    {
        QFETCH(QByteArray, sourcesFile);
        const QString file = m_dir.filePath(u"bad-sources.json"_s);
        put(file, sourcesFile);
        const CliRun run = runCli({u"watch"_s, u"--sources"_s, file});
        QCOMPARE(run.exitCode, 3);
        QVERIFY2(QString::fromUtf8(run.err).contains(TW_DATA(QString, message)), run.err.constData());
        QVERIFY(QFile::exists(file)); // never quarantined by the command line
    }
};

QTEST_GUILESS_MAIN(WatchCommandTest)
#include "WatchCommandTest.moc"
