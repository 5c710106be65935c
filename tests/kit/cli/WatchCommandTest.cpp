#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/HistoryStore.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

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

namespace {

// A running `watch`, read line by line as it prints.
class WatchProcess
{
public:
    WatchProcess(const QString &directory, double timeScale)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TIDEWATCH_CLI_TIME_SCALE"_s, QString::number(timeScale));
        environment.insert(u"XDG_CONFIG_HOME"_s, directory + u"/config"_s); // the user's switches stay out
        m_process.setProcessEnvironment(environment);
        m_process.start(cliPath(),
                        {u"watch"_s,
                         u"--verbose"_s,
                         u"--sources"_s,
                         directory + u"/sources.json"_s,
                         u"--credentials"_s,
                         directory + u"/credentials.json"_s});
    }
    ~WatchProcess()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    // The next line that contains `needle`; the lines passed over are kept in skipped().
    QString waitForLine(const QString &needle, int timeoutMs = 10000)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            while (m_process.canReadLine()) {
                const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
                m_all.append(line);
                if (line.contains(needle))
                    return line;
                m_skipped.append(line);
            }
            if (m_process.state() == QProcess::NotRunning)
                break;
            QTest::qWait(5);
        }
        return {};
    }
    QStringList takeSkipped() { return std::exchange(m_skipped, {}); }
    QString transcript()
    {
        return m_all.join(u'\n') + u"\nstderr: "_s + QString::fromUtf8(m_process.readAllStandardError());
    }

    // Sends `signal` and waits; the exit code, or -1 when it did not end normally in time.
    int stop(int signal)
    {
        ::kill(pid_t(m_process.processId()), signal);
        QElapsedTimer clock;
        clock.start();
        while (m_process.state() != QProcess::NotRunning && clock.elapsed() < 10000)
            QTest::qWait(5);
        if (m_process.state() != QProcess::NotRunning || m_process.exitStatus() != QProcess::NormalExit)
            return -1;
        return m_process.exitCode();
    }

    QProcess m_process;

private:
    QStringList m_skipped;
    QStringList m_all;
};

} // namespace

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
        QFile credentials(m_dir.filePath(u"credentials.json"_s));
        QVERIFY(credentials.open(QIODevice::WriteOnly));
        credentials.write("{}");
        credentials.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
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
        QFile file(m_dir.filePath(u"bad-sources.json"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(sourcesFile);
        file.close();
        const CliRun run = runCli({u"watch"_s, u"--sources"_s, file.fileName()});
        QCOMPARE(run.exitCode, 3);
        QVERIFY2(QString::fromUtf8(run.err).contains(TW_DATA(QString, message)), run.err.constData());
        QCOMPARE(QFile(file.fileName()).exists(), true); // never quarantined by the command line
    }
};

QTEST_GUILESS_MAIN(WatchCommandTest)
#include "WatchCommandTest.moc"
