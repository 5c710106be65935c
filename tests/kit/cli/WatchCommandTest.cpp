#include "kit/model/SourcesStore.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tw;
using namespace Qt::StringLiterals;

// The headless watcher against a local port that goes away and comes back: a down alert after the
// threshold, a recovery when it returns, and a clean stop that writes the history.
class WatchCommandTest : public QObject
{
    Q_OBJECT

    QByteArray m_output;

    bool waitForLine(QProcess &process, const QByteArray &needle, int timeoutMs)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            m_output += process.readAllStandardOutput();
            if (m_output.contains(needle))
                return true;
            if (process.state() == QProcess::NotRunning)
                return false;
            QTest::qWait(20);
        }
        return false;
    }

private Q_SLOTS:
    void downThenRecoveredThenCleanStop()
    {
        QTemporaryDir dir;
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        const quint16 port = listener.serverPort();
        TCPPortConfig config(QUuid::createUuid(), u"Local port"_s, u"127.0.0.1"_s, port);
        config.pollInterval = 5; // the shortest a source may have
        config.alertThreshold = 1;
        const QString data = dir.filePath(u"data"_s);
        SourcesStore::save({config}, data);

        const QString secrets = dir.filePath(u"secrets.json"_s);
        QFile secretsFile(secrets);
        QVERIFY(secretsFile.open(QIODevice::WriteOnly));
        secretsFile.write("{}");
        secretsFile.close();
        secretsFile.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);

        QProcess watch;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"XDG_CONFIG_HOME"_s, dir.filePath(u"config"_s));
        watch.setProcessEnvironment(env);
        watch.start(
            QStringLiteral(TW_BINARY_DIR "/src/cli/tidewatch-cli"),
            {u"watch"_s, u"--verbose"_s, u"--credentials"_s, secrets, u"--sources"_s, SourcesStore::sourcesPath(data)});
        QVERIFY(watch.waitForStarted());
        auto stop = qScopeGuard([&] {
            watch.kill();
            watch.waitForFinished();
        });

        QVERIFY2(waitForLine(watch, "Local port up", 5000), m_output.constData());
        listener.close();
        QVERIFY2(waitForLine(watch, "down      Local port is down", 9000), m_output.constData());
        QVERIFY(listener.listen(QHostAddress::LocalHost, port));
        QVERIFY2(waitForLine(watch, "recovered Local port recovered", 9000), m_output.constData());
        QCOMPARE(m_output.count("Local port is down"), 1); // once per outage

        ::kill(pid_t(watch.processId()), SIGTERM);
        QVERIFY(watch.waitForFinished(5000));
        stop.dismiss();
        QCOMPARE(watch.exitStatus(), QProcess::NormalExit);
        QCOMPARE(watch.exitCode(), 0);
        QFile history(dir.filePath(u"data/history.json"_s));
        QVERIFY(history.open(QIODevice::ReadOnly));
        QVERIFY(history.readAll().contains("\"status\":\"down\""));
    }
};

QTEST_GUILESS_MAIN(WatchCommandTest)
#include "WatchCommandTest.moc"
