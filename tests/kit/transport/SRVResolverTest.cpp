#include "kit/transport/SRVResolver.h"

#include "kit/transport/SRVRData.h"
#include "support/Await.h"
#include "support/TestData.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using OptRecord = std::optional<SRVRecord>;
Q_DECLARE_METATYPE(OptRecord)

namespace QTest {
template<>
char *toString(const OptRecord &record)
{
    return qstrdup(record ? qPrintable(record->host + u':' + QString::number(record->port)) : "no record");
}
} // namespace QTest

namespace {

// Priority 10, weight 20, then the port and the name bytes.
QByteArray rdata(quint16 port, const QByteArray &name)
{
    return QByteArray::fromHex("000a0014") + char(port >> 8) + char(port & 0xff) + name;
}

} // namespace

class SRVResolverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // glibc's resolver otherwise waits 5 s twice for a nameserver that never answers.
        qputenv("RES_OPTIONS", "timeout:1 attempts:1");
        const QString python = QStandardPaths::findExecutable(u"python3"_s);
        QVERIFY2(!python.isEmpty(), "python3 is needed for the DNS responder");
        // Port 53 is fixed, so each run takes its own loopback address to keep parallel runs apart.
        const qint64 pid = QCoreApplication::applicationPid();
        m_nameserver = QHostAddress(u"127.53.%1.%2"_s.arg(pid / 200 % 250 + 1).arg(pid % 200 + 2));
        m_responder.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_responder.start(python,
                          {QDir::cleanPath(QStringLiteral(TW_TEST_DATA_DIR "/../support/dns_responder.py")),
                           m_nameserver.toString()});
        QVERIFY2(m_responder.waitForReadyRead(10000), "the DNS responder did not start (port 53 needs root)");
        QCOMPARE(m_responder.readLine().trimmed(), QByteArray("ready"));
    }

    void cleanupTestCase()
    {
        m_responder.kill();
        m_responder.waitForFinished();
    }

    void parse_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<OptRecord>("record");
        const QByteArray abc = QByteArray::fromHex("0161026263") + '\0';
        QTest::newRow("a.bc") << rdata(25565, abc) << OptRecord(SRVRecord{u"a.bc"_s, 25565});
        QTest::newRow("six bytes") << rdata(25565, {}) << OptRecord();
        QTest::newRow("port 0") << rdata(0, abc) << OptRecord();
        QTest::newRow("root name only") << rdata(25565, QByteArray(1, '\0')) << OptRecord();
        QTest::newRow("no closing zero") << rdata(80, QByteArray::fromHex("0161026263"))
                                         << OptRecord(SRVRecord{u"a.bc"_s, 80});
        QTest::newRow("label runs past the end") << rdata(80, QByteArray::fromHex("056162")) << OptRecord();
        QTest::newRow("label ends exactly at the end")
            << rdata(80, QByteArray::fromHex("026162")) << OptRecord(SRVRecord{u"ab"_s, 80});
        QTest::newRow("label one byte short") << rdata(80, QByteArray::fromHex("036162")) << OptRecord();
        QTest::newRow("label of 63") << rdata(80, char(63) + QByteArray(63, 'x') + '\0')
                                     << OptRecord(SRVRecord{QString(63, u'x'), 80});
        QTest::newRow("label of 64") << rdata(80, char(64) + QByteArray(64, 'x') + '\0') << OptRecord();
        QTest::newRow("compression pointer") << rdata(80, QByteArray::fromHex("c00c")) << OptRecord();
        QTest::newRow("pointer after a label") << rdata(80, QByteArray::fromHex("016dc00c")) << OptRecord();
        QTest::newRow("UTF-8 label") << rdata(80, QByteArray::fromHex("02c3bc00")) << OptRecord(SRVRecord{u"ü"_s, 80});
        QTest::newRow("invalid UTF-8") << rdata(80, QByteArray::fromHex("02c3c300")) << OptRecord();
        QTest::newRow("bytes after the end ignored")
            << rdata(443, QByteArray::fromHex("016d00ffff")) << OptRecord(SRVRecord{u"m"_s, 443});
    }
    void parse() { QCOMPARE(SRVRData::parse(TW_DATA(QByteArray, data)), TW_DATA(OptRecord, record)); }

    void acceptDecoded_data()
    {
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("target");
        QTest::addColumn<OptRecord>("record");
        QTest::newRow("trailing dot dropped")
            << 8080 << u"rack.example."_s << OptRecord(SRVRecord{u"rack.example"_s, 8080});
        QTest::newRow("root") << 8080 << u"."_s << OptRecord();
        QTest::newRow("empty") << 8080 << QString() << OptRecord();
        QTest::newRow("port 0") << 0 << u"rack.example"_s << OptRecord();
        QTest::newRow("empty label") << 8080 << u"a..b"_s << OptRecord();
        QTest::newRow("label of 64 bytes") << 8080 << QString(64, u'x') << OptRecord();
        QTest::newRow("32 two-byte letters are 64 bytes") << 8080 << QString(32, u'ü') << OptRecord();
    }
    void acceptDecoded()
    {
        QCOMPARE(SRVRData::accept(quint16(TW_DATA(int, port)), TW_DATA(QString, target)), TW_DATA(OptRecord, record));
    }

    void eligibleHosts_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("eligible");
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("IPv4") << u"192.0.2.1"_s << false;
        QTest::newRow("IPv6 loopback") << u"::1"_s << false;
        QTest::newRow("IPv6") << u"2001:db8::7"_s << false;
        QTest::newRow("name") << u"mc.example"_s << true;
        QTest::newRow("single label") << u"minecraft"_s << true;
        QTest::newRow("five numbers are a name") << u"1.2.3.4.5"_s << true;
    }
    void eligibleHosts() { QCOMPARE(isSRVEligibleHost(TW_DATA(QString, host)), TW_DATA(bool, eligible)); }

    void againstALocalNameserver_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<OptRecord>("record");
        QTest::newRow("the lower priority wins, whatever the order")
            << u"two._minecraft._tcp.example.test"_s << OptRecord(SRVRecord{u"rack1.example.test"_s, 8080});
        QTest::newRow("port 0") << u"zeroport._minecraft._tcp.example.test"_s << OptRecord();
        QTest::newRow("root target") << u"root._minecraft._tcp.example.test"_s << OptRecord();
        QTest::newRow("no such name") << u"nx._minecraft._tcp.example.test"_s << OptRecord();
    }
    void againstALocalNameserver()
    {
        DnsSRVResolver resolver(m_nameserver);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(TW_DATA(QString, service), 3s, makeStopToken())), TW_DATA(OptRecord, record));
        QVERIFY2(clock.elapsed() < 900, "an answered lookup must not wait for its bound");
    }

    void silenceEndsAtTheCallersBound()
    {
        DnsSRVResolver resolver(m_nameserver);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(u"drop.example.test"_s, 250ms, makeStopToken())), OptRecord());
        // The system resolver itself gives up after 1 s here: the caller's bound is what ended it.
        QVERIFY2(clock.elapsed() >= 240 && clock.elapsed() < 900, qPrintable(QString::number(clock.elapsed())));
    }

    void aStopEndsTheWaitAtOnce()
    {
        DnsSRVResolver resolver(m_nameserver);
        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(u"drop.example.test"_s, 5s, stop)), OptRecord());
        QVERIFY(clock.elapsed() < 900);
    }

    void nothingListeningIsNoRecord()
    {
        // An address of the same block where no responder runs: the query is refused at once.
        DnsSRVResolver resolver(QHostAddress(u"127.54.0.1"_s));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(u"two.example.test"_s, 3s, makeStopToken())), OptRecord());
        QVERIFY(clock.elapsed() < 2500);
    }

private:
    QHostAddress m_nameserver;
    QProcess m_responder;
};

QTEST_GUILESS_MAIN(SRVResolverTest)
#include "SRVResolverTest.moc"
