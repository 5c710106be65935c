#include "kit/desktop/ConnectivityWatcher.h"

#include "kit/model/DNSRecordConfig.h"
#include "kit/model/SourcesStore.h"
#include "support/CliProcess.h"
#include "support/Files.h"
#include "support/TestData.h"
#include "support/WatchProcess.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkDatagram>
#include <QProcess>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

#include <csignal>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// logind as far as Tidewatch knows it: a name on the bus and its PrepareForSleep signal. The
// private session bus that the test run provides stands in for the system bus.
class FakeLogind
{
public:
    FakeLogind()
        : m_bus(QDBusConnection::connectToBus(QString::fromUtf8(qgetenv("DBUS_SESSION_BUS_ADDRESS")), u"fake-logind"_s))
    {
        m_registered = m_bus.isConnected() && m_bus.registerService(u"org.freedesktop.login1"_s);
    }
    ~FakeLogind()
    {
        m_bus.unregisterService(u"org.freedesktop.login1"_s);
        QDBusConnection::disconnectFromBus(u"fake-logind"_s);
    }
    bool isRegistered() const { return m_registered; }

    void prepareForSleep(bool start)
    {
        QDBusMessage signal = QDBusMessage::createSignal(u"/org/freedesktop/login1"_s,
                                                         u"org.freedesktop.login1.Manager"_s,
                                                         u"PrepareForSleep"_s);
        signal << start;
        m_bus.send(signal);
        m_bus.interface()->call(u"GetId"_s); // a round trip, so the signal is on its way
    }

private:
    QDBusConnection m_bus;
    bool m_registered = false;
};

} // namespace

class ConnectivityWatcherTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(!qgetenv("DBUS_SESSION_BUS_ADDRESS").isEmpty(), "run under scripts/with-session"); }

    void sleepAndResumeComeFromLogind()
    {
        FakeLogind logind;
        ConnectivityWatcher watcher(QDBusConnection::sessionBus(), false);
        QVERIFY(watcher.watchesSleep());
        QVERIFY(watcher.isOnline()); // no network backend asked: never offline
        QSignalSpy asleep(&watcher, &ConnectivityWatcher::asleepChanged);
        logind.prepareForSleep(true);
        logind.prepareForSleep(false);
        QTRY_COMPARE(asleep.size(), 2);
        QCOMPARE(asleep[0][0].toBool(), true);
        QCOMPARE(asleep[1][0].toBool(), false);
    }

    // Three sources on one local target that goes away across a suspend and is back within the
    // grace period: the watch, told of the sleep by logind, says nothing. Without the sleep signals
    // the same outage is three alerts.
    void aResumeSilencesTheBurstOfAStoppedTarget_data()
    {
        QTest::addColumn<bool>("sleeps");
        QTest::addColumn<int>("alerts");
        QTest::newRow("suspended and resumed") << true << 0;
        QTest::newRow("awake all along") << false << 3;
    }
    void aResumeSilencesTheBurstOfAStoppedTarget()
    {
        QFETCH(bool, sleeps);
        QTemporaryDir dir;
        QTcpServer target;
        QVERIFY(target.listen(QHostAddress::LocalHost, 0));
        const quint16 port = target.serverPort();
        QObject::connect(&target, &QTcpServer::newConnection, &target, [&target] {
            while (QTcpSocket *socket = target.nextPendingConnection())
                socket->deleteLater();
        });
        QList<AnySourceConfig> sources;
        for (int i = 1; i <= 3; ++i) {
            TCPPortConfig rack(QUuid::createUuid(), u"Rack %1"_s.arg(i), u"127.0.0.1"_s, port);
            rack.pollInterval = 5;
            rack.alertThreshold = 1;
            sources.append(rack);
        }
        SourcesStore::save(sources, dir.path());
        putPrivate(dir.filePath(u"credentials.json"_s), "{}");

        FakeLogind logind;
        QVERIFY(logind.isRegistered());
        QProcessEnvironment bus;
        bus.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, QString::fromUtf8(qgetenv("DBUS_SESSION_BUS_ADDRESS")));
        // Polls every 250 ms, a grace period of 3 s.
        WatchProcess watch(dir.path(), 0.05, bus);
        QVERIFY2(!watch.waitForLine(u"Rack 3 up"_s).isEmpty(), qPrintable(watch.transcript()));

        if (sleeps)
            logind.prepareForSleep(true);
        target.close();
        QTest::qWait(200);
        if (sleeps)
            logind.prepareForSleep(false); // resumed, and the target not back yet
        QVERIFY2(!watch.waitForLine(u"Rack 3 down"_s).isEmpty(), qPrintable(watch.transcript()));
        QTest::qWait(400);
        QVERIFY(target.listen(QHostAddress::LocalHost, port));
        for (int i = 1; i <= 3; ++i)
            QVERIFY2(!watch.waitForLine(u"Rack %1 up"_s.arg(i)).isEmpty(), qPrintable(watch.transcript()));
        watch.waitForLine(u"\x01"_s, 3500); // past the grace period
        const QString transcript = watch.transcript();
        QCOMPARE(transcript.count(u" is down — "_s), TW_DATA(int, alerts));
        QCOMPARE(transcript.count(QRegularExpression(u"recovered +Rack \\d recovered"_s)), TW_DATA(int, alerts));
    }

    // Quitting with a DNS look-up in flight against a nameserver that never answers: the watch after
    // SIGINT or SIGTERM and the application after SIGTERM are gone within 5 s, and the history is
    // written first.
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
        QProcess app;
        std::optional<WatchProcess> watch;
        if (application) {
            if (!QFile::exists(QStringLiteral(TW_BINARY_DIR "/src/app/tidewatch")))
                QSKIP("the application is not built");
            QVERIFY(startApplication(app, home.path(), {nas, record}));
        } else {
            SourcesStore::save({nas, record}, data);
            putPrivate(home.filePath(u"credentials.json"_s), "{}");
            watch.emplace(home.path(), 1.0);
        }
        QProcess &process = watch ? watch->process() : app;
        // The look-up is in flight once the nameserver has the question; the port check has its
        // sample by then.
        QTRY_VERIFY_WITH_TIMEOUT(questions > 0, 10000);
        QTest::qWait(300);
        ::kill(pid_t(process.processId()), TW_DATA(int, signal));
        QVERIFY2(process.waitForFinished(5000), "still running 5 s after the signal");
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);

        const QJsonDocument history = QJsonDocument::fromJson(contents(data + u"/history.json"_s));
        QVERIFY2(!history[u"samples"_s].toObject().isEmpty(), "no samples in history.json");
    }
};

QTEST_GUILESS_MAIN(ConnectivityWatcherTest)
#include "ConnectivityWatcherTest.moc"
