// Quitting with a DNS look-up in flight against a nameserver that never answers: the command line's
// watch after SIGINT or SIGTERM and the application after SIGTERM are gone within 5 s, and the
// history is written first.
#include "kit/model/DNSRecordConfig.h"
#include "kit/model/SourcesStore.h"
#include "kit/model/TCPPortConfig.h"
#include "support/CliProcess.h"
#include "support/TestData.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkDatagram>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

class QuitDuringLookupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quitsWithinFiveSeconds_data()
    {
        QTest::addColumn<bool>("application");
        QTest::addColumn<int>("signal");
        QTest::newRow("watch, SIGINT") << false << SIGINT;
        QTest::newRow("watch, SIGTERM") << false << SIGTERM;
        QTest::newRow("application, SIGTERM") << true << SIGTERM;
    }
    void quitsWithinFiveSeconds()
    {
        const bool application = TW_DATA(bool, application);
        QTemporaryDir home;
        QVERIFY(home.isValid());
        // The nameserver reads every question and answers none.
        QUdpSocket silent;
        QVERIFY(silent.bind(QHostAddress::LocalHost, 0));
        int questions = 0;
        connect(&silent, &QUdpSocket::readyRead, &silent, [&] {
            while (silent.hasPendingDatagrams()) {
                silent.receiveDatagram();
                ++questions;
            }
        });
        QTcpServer port;
        QVERIFY(port.listen(QHostAddress::LocalHost));

        TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, port.serverPort());
        DNSRecordConfig record(QUuid::createUuid(), u"Records"_s, u"nas.home.test"_s, DNSRecordType::A);
        record.nameserver = u"127.0.0.1:%1"_s.arg(silent.localPort());
        const QString data = application ? home.filePath(u"data/Tidewatch"_s) : home.path();
        QProcess process;
        if (application) {
            if (!QFile::exists(QStringLiteral(TW_BINARY_DIR "/src/app/tidewatch")))
                QSKIP("the application is not built");
            QVERIFY(startApplication(process, home.path(), {nas, record}));
        } else {
            SourcesStore::save({nas, record}, data);
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            // The watch reads the application's silences: these are the test's own.
            environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
            environment.insert(u"XDG_DATA_HOME"_s, home.filePath(u"data"_s));
            process.setProcessEnvironment(environment);
            process.setProcessChannelMode(QProcess::MergedChannels);
            process.start(cliPath(), {u"watch"_s, u"--sources"_s, home.filePath(u"sources.json"_s)});
            QVERIFY(process.waitForStarted());
        }
        // The look-up is in flight once the nameserver has the question; the port check has its
        // sample by then.
        QTRY_VERIFY_WITH_TIMEOUT(questions > 0, 10000);
        QTest::qWait(300);
        QElapsedTimer clock;
        clock.start();
        ::kill(pid_t(process.processId()), TW_DATA(int, signal));
        QVERIFY2(process.waitForFinished(5000), "still running 5 s after the signal");
        qInfo("gone %lld ms after the signal", clock.elapsed());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);

        QFile history(data + u"/history.json"_s);
        QVERIFY2(history.open(QIODevice::ReadOnly), "no history written");
        const QJsonObject samples = QJsonDocument::fromJson(history.readAll()).object().value(u"samples"_s).toObject();
        QVERIFY2(!samples.isEmpty(), "history.json holds no samples");
    }
};

QTEST_GUILESS_MAIN(QuitDuringLookupTest)
#include "QuitDuringLookupTest.moc"
