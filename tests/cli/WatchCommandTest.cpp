#include "kit/model/BeszelConfig.h"
#include "kit/model/PreferenceStore.h"
#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WatchProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// One request on a fresh connection, as a scraper makes it; the whole reply.
QByteArray ask(quint16 port, const QByteArray &request)
{
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, port);
    if (!socket.waitForConnected(3000))
        return {};
    socket.write(request);
    QByteArray reply;
    while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead(3000))
        reply += socket.readAll();
    return reply + socket.readAll();
}

QByteArray body(const QByteArray &reply)
{
    return reply.mid(reply.indexOf("\r\n\r\n") + 4);
}

// The page as Prometheus' own parser reads it: one "name label=value,… value" line per sample, the
// labels sorted (but the source's id) and the value with three decimals.
QStringList parsedByPrometheus(const QByteArray &page)
{
    QProcess python;
    // Debian's own interpreter, which sees Debian's python3-prometheus-client.
    python.start(u"/usr/bin/python3"_s,
                 {u"-c"_s,
                  u"import sys\n"
                  "from prometheus_client.parser import text_string_to_metric_families\n"
                  "for f in text_string_to_metric_families(sys.stdin.read()):\n"
                  "    for s in f.samples:\n"
                  "        labels = ','.join(f'{k}={v}' for k, v in sorted(s.labels.items()) if k != 'source_id')\n"
                  "        print(f'{s.name} {labels} {s.value:.3f}')\n"_s});
    python.write(page);
    python.closeWriteChannel();
    if (!python.waitForFinished(20000) || python.exitCode() != 0) {
        qWarning("%s", python.readAllStandardError().constData());
        return {};
    }
    return QString::fromUtf8(python.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace

class WatchCommandTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QTcpServer m_server;

    void writeSources(qint64 threshold)
    {
        TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, m_server.serverPort());
        nas.pollInterval = 5;
        nas.alertThreshold = threshold;
        SourcesStore::save({nas}, m_dir.path());
        putPrivate(m_dir.filePath(u"credentials.json"_s), "{}");
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

    // The whole outage as a user sees it: silence until the threshold, one down line right after the
    // poll that reaches it, one recovery. The application's silences, as it stores them, silence the
    // watch too; which silence covers what is AppStateTest's.
    void printsAnOutage_data()
    {
        QTest::addColumn<bool>("muted");
        QTest::newRow("alerts after the threshold") << false;
        QTest::newRow("muted by the application") << true;
    }
    void printsAnOutage()
    {
        QFETCH(bool, muted);
        writeSources(3);
        if (muted)
            PreferenceStore(m_dir.filePath(u"config/Tidewatch/preferences.json"_s))
                .setValue(u"globalQuiet"_s, u"true"_s);
        const quint16 port = m_server.serverPort();
        WatchProcess watch(m_dir.path(), 0.02); // 5 s polls become 100 ms, back-off likewise
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        m_server.close();
        for (int i = 0; i < 4; ++i)
            QVERIFY2(!watch.waitForLine(u"NAS down"_s).isEmpty(), qPrintable(watch.transcript()));
        QVERIFY(m_server.listen(QHostAddress::LocalHost, port));
        QVERIFY2(!watch.waitForLine(u"NAS up"_s).isEmpty(), qPrintable(watch.transcript()));
        watch.waitForLine(u"\x01"_s, 300);
        QCOMPARE(watch.stop(SIGTERM), 0);

        const QStringList lines = watch.transcript().split(u'\n');
        const QStringList alerts = lines.filter(u" — "_s);
        QCOMPARE(alerts.size(), muted ? 0 : 2);
        if (muted)
            return;
        QVERIFY2(alerts[0].endsWith(u"NAS is down — Unreachable for less than a minute"_s),
                 qPrintable(lines.join(u'\n')));
        QCOMPARE(lines.mid(0, lines.indexOf(alerts[0])).filter(u"NAS down"_s).size(), 3);
        QVERIFY(lines[lines.indexOf(alerts[0]) - 1].contains(u"NAS down"_s));
        QVERIFY2(alerts[1].endsWith(u"NAS recovered — Back in under a minute"_s), qPrintable(lines.join(u'\n')));
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

    // Prometheus reads every widget's state and latency and every source's last poll from a running
    // watch, names with quotes and backslashes included.
    void scrapedWhileWatching()
    {
        QTemporaryDir dir;
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const quint16 closedPort = closed.serverPort();
        closed.close();
        const QString oddName = u"NAS \"main\" \\ rack"_s;
        TCPPortConfig up(QUuid::createUuid(), oddName, u"127.0.0.1"_s, listener.serverPort());
        TCPPortConfig down(QUuid::createUuid(), u"Printer"_s, u"127.0.0.1"_s, closedPort);
        up.pollInterval = down.pollInterval = 5;
        SourcesStore::save({up, down}, dir.path());
        putPrivate(dir.filePath(u"credentials.json"_s), "{}");

        QProcess watch;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, dir.filePath(u"config"_s));
        watch.setProcessEnvironment(environment);
        const QString folder = dir.path();
        watch.start(cliPath(),
                    QProcess::splitCommand(u"watch --sources %1/sources.json --credentials %1/credentials.json "
                                           "--metrics 127.0.0.1:0"_s.arg(folder)));
        QByteArray err;
        const QRegularExpression announced(u"metrics on http://127\\.0\\.0\\.1:(\\d+)/metrics"_s);
        QRegularExpressionMatch match;
        QTRY_VERIFY_WITH_TIMEOUT(
            (err += watch.readAllStandardError(), match = announced.match(QString::fromUtf8(err)), match.hasMatch()),
            10000);
        const quint16 port = match.captured(1).toUShort();

        QByteArray page;
        QTRY_VERIFY_WITH_TIMEOUT((page = body(ask(port, "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n")),
                                  page.count("tidewatch_source_up{") == 2),
                                 10000);
        const QStringList samples = parsedByPrometheus(page);
        // %1: the odd name, which is up; %2: the printer, which is down.
        for (const QString &pattern : {u"tidewatch_widget_status source=%1,state=up,widget=%1 1\\.000"_s,
                                       u"tidewatch_widget_status source=%1,state=down,widget=%1 0\\.000"_s,
                                       u"tidewatch_widget_status source=%2,state=down,widget=%2 1\\.000"_s,
                                       u"tidewatch_widget_status source=%2,state=up,widget=%2 0\\.000"_s,
                                       u"tidewatch_widget_latency_seconds source=%1,widget=%1 \\d+\\.\\d{3}"_s,
                                       u"tidewatch_source_up source=%1 1\\.000"_s,
                                       u"tidewatch_source_up source=%2 1\\.000"_s,
                                       u"tidewatch_source_poll_duration_seconds source=%1 [0-4]\\.\\d{3}"_s,
                                       u"tidewatch_source_poll_duration_seconds source=%2 [0-4]\\.\\d{3}"_s}) {
            const QRegularExpression line(
                u'^'
                + QString(pattern).replace(u"%1"_s, QRegularExpression::escape(oddName)).replace(u"%2"_s, u"Printer"_s)
                + u'$');
            QVERIFY2(!samples.filter(line).isEmpty(), qPrintable(line.pattern() + u'\n' + samples.join(u'\n')));
        }

        QVERIFY(ask(port, "GET / HTTP/1.0\r\n\r\n").startsWith("HTTP/1.0 404"));
        QVERIFY(ask(port, "POST /metrics HTTP/1.0\r\n\r\n").startsWith("HTTP/1.0 405"));
        const QByteArray head = ask(port, "HEAD /metrics HTTP/1.0\r\n\r\n");
        QVERIFY(head.startsWith("HTTP/1.0 200") && body(head).isEmpty());
        // A request that never ends is let go rather than held.
        QVERIFY(ask(port, QByteArray(9000, 'x')).isEmpty());

        watch.terminate();
        QVERIFY(watch.waitForFinished(10000));
        QCOMPARE(watch.exitCode(), 0);
    }

    // An unreadable sources file is CheckCommandTest's; an empty one is no reason to sit and watch.
    void refusesToStart_data()
    {
        QTest::addColumn<QByteArray>("file"); // sources.json as written; empty: one port to watch
        QTest::addColumn<QString>("address"); // for --metrics
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("said");
        QTest::newRow("no sources") << QByteArray("[]") << QString() << 3 << u"no sources to watch"_s;
        QTest::newRow("corrupt file") << QByteArray("[{") << QString() << 3 << u"is not a valid sources file"_s;
        QTest::newRow("words") << QByteArray() << u"metrics"_s << 64 << u"--metrics takes PORT or ADDRESS:PORT"_s;
        QTest::newRow("port too large") << QByteArray() << u"70000"_s << 64 << u"--metrics takes"_s;
        QTest::newRow("not an address") << QByteArray() << u"nas.lan:9100"_s << 64 << u"--metrics takes"_s;
        QTest::newRow("not ours") << QByteArray() << u"192.0.2.1:9100"_s << 3
                                  << u"cannot serve the metrics on 192.0.2.1:9100"_s;
    }
    void refusesToStart()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, address);
        QTemporaryDir dir;
        QStringList arguments = QProcess::splitCommand(
            u"watch --sources %1/sources.json --credentials %1/credentials.json"_s.arg(dir.path()));
        if (!address.isEmpty())
            arguments << u"--metrics"_s << address;
        if (file.isEmpty())
            SourcesStore::save({TCPPortConfig(QUuid::createUuid(), u"T"_s, u"127.0.0.1"_s, 9)}, dir.path());
        else
            put(dir.filePath(u"sources.json"_s), file);
        putPrivate(dir.filePath(u"credentials.json"_s), "{}");
        const CliRun run = runCli(arguments);
        QCOMPARE(run.exitCode, TW_DATA(int, exitCode));
        QVERIFY2(QString::fromUtf8(run.err).contains(TW_DATA(QString, said)), run.err.constData());
        QVERIFY(QFile::exists(dir.filePath(u"sources.json"_s))); // never set aside by the command line
    }
};

QTEST_GUILESS_MAIN(WatchCommandTest)
#include "WatchCommandTest.moc"
