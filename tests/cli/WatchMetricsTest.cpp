#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

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

// The page as Prometheus' own parser reads it: one [name, labels, value] per sample.
QJsonArray parsedByPrometheus(const QByteArray &page)
{
    QProcess python;
    // Debian's own interpreter, which sees Debian's python3-prometheus-client.
    python.start(u"/usr/bin/python3"_s,
                 {u"-c"_s,
                  u"import sys, json\n"
                  "from prometheus_client.parser import text_string_to_metric_families\n"
                  "print(json.dumps([[s.name, s.labels, s.value] for f in "
                  "text_string_to_metric_families(sys.stdin.read()) for s in f.samples]))\n"_s});
    python.write(page);
    python.closeWriteChannel();
    if (!python.waitForFinished(20000) || python.exitCode() != 0) {
        qWarning("%s", python.readAllStandardError().constData());
        return {};
    }
    return QJsonDocument::fromJson(python.readAllStandardOutput()).array();
}

double sample(const QJsonArray &samples, const QString &name, const QJsonObject &labels)
{
    for (const QJsonValue &entry : samples) {
        const QJsonArray s = entry.toArray();
        if (s.at(0).toString() != name)
            continue;
        const QJsonObject have = s.at(1).toObject();
        bool matches = true;
        for (auto it = labels.begin(); it != labels.end(); ++it)
            matches = matches && have.value(it.key()) == it.value();
        if (matches)
            return s.at(2).toDouble();
    }
    return -1;
}

} // namespace

class WatchMetricsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
        watch.start(cliPath(),
                    {u"watch"_s,
                     u"--sources"_s,
                     dir.filePath(u"sources.json"_s),
                     u"--credentials"_s,
                     dir.filePath(u"credentials.json"_s),
                     u"--metrics"_s,
                     u"127.0.0.1:0"_s});
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
        const QJsonArray samples = parsedByPrometheus(page);
        QVERIFY2(!samples.isEmpty(), page.constData());
        const QJsonObject upSource{{u"source"_s, oddName}, {u"widget"_s, oddName}};
        const QJsonObject downSource{{u"source"_s, u"Printer"_s}, {u"widget"_s, u"Printer"_s}};
        const auto state = [](QJsonObject labels, const QString &value) {
            labels.insert(u"state"_s, value);
            return labels;
        };
        QCOMPARE(sample(samples, u"tidewatch_widget_status"_s, state(upSource, u"up"_s)), 1.0);
        QCOMPARE(sample(samples, u"tidewatch_widget_status"_s, state(upSource, u"down"_s)), 0.0);
        QCOMPARE(sample(samples, u"tidewatch_widget_status"_s, state(downSource, u"down"_s)), 1.0);
        QCOMPARE(sample(samples, u"tidewatch_widget_status"_s, state(downSource, u"up"_s)), 0.0);
        QVERIFY(sample(samples, u"tidewatch_widget_latency_seconds"_s, upSource) >= 0);
        for (const QString &name : {oddName, u"Printer"_s}) {
            QCOMPARE(sample(samples, u"tidewatch_source_up"_s, {{u"source"_s, name}}), 1.0);
            const double seconds = sample(samples, u"tidewatch_source_poll_duration_seconds"_s, {{u"source"_s, name}});
            QVERIFY2(seconds >= 0 && seconds < 5, qPrintable(name));
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

    void badAddressesAreRefused_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("said");
        QTest::newRow("words") << u"metrics"_s << 64 << u"--metrics takes PORT or ADDRESS:PORT"_s;
        QTest::newRow("port too large") << u"70000"_s << 64 << u"--metrics takes"_s;
        QTest::newRow("not an address") << u"nas.lan:9100"_s << 64 << u"--metrics takes"_s;
        QTest::newRow("not ours") << u"192.0.2.1:9100"_s << 3 << u"cannot serve the metrics on 192.0.2.1:9100"_s;
    }
    void badAddressesAreRefused()
    {
        QFETCH(QString, address);
        QFETCH(int, exitCode);
        QFETCH(QString, said);
        QTemporaryDir dir;
        SourcesStore::save({TCPPortConfig(QUuid::createUuid(), u"T"_s, u"127.0.0.1"_s, 9)}, dir.path());
        putPrivate(dir.filePath(u"credentials.json"_s), "{}");
        const CliRun run = runCli({u"watch"_s,
                                   u"--sources"_s,
                                   dir.filePath(u"sources.json"_s),
                                   u"--credentials"_s,
                                   dir.filePath(u"credentials.json"_s),
                                   u"--metrics"_s,
                                   address});
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(QString::fromUtf8(run.err).contains(said), run.err.constData());
    }
};

QTEST_GUILESS_MAIN(WatchMetricsTest)
#include "WatchMetricsTest.moc"
