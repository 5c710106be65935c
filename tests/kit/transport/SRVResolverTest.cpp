#include "kit/transport/SRVResolver.h"

#include "kit/transport/SRVRData.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using OptRecord = std::optional<SRVRecord>;
Q_DECLARE_METATYPE(OptRecord)
Q_DECLARE_METATYPE(QList<tw::DnsSRVResolver::Candidate>)

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
    void initTestCase() { QVERIFY(m_responder.start()); }

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
        QTest::newRow("server failure") << u"_minecraft._tcp.servfail.example.test"_s << OptRecord();
        QTest::newRow("refused") << u"_minecraft._tcp.refused.example.test"_s << OptRecord();
        QTest::newRow("a local server behind the record")
            << u"_minecraft._tcp.port25570.example.test"_s << OptRecord(SRVRecord{u"127.0.0.1"_s, 25570});
    }
    void againstALocalNameserver()
    {
        DnsSRVResolver resolver(m_responder.server());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(TW_DATA(QString, service), 3s, makeStopToken())), TW_DATA(OptRecord, record));
        QVERIFY2(clock.elapsed() < 900, "an answered lookup must not wait for its bound");
    }

    void silenceEndsAtTheCallersBound()
    {
        DnsSRVResolver resolver(m_responder.server());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(u"drop.example.test"_s, 250ms, makeStopToken())), OptRecord());
        QVERIFY2(clock.elapsed() >= 240 && clock.elapsed() < 900, qPrintable(QString::number(clock.elapsed())));
    }

    void aStopEndsTheWaitAtOnce()
    {
        DnsSRVResolver resolver(m_responder.server());
        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(resolver.resolve(u"drop.example.test"_s, 5s, stop)), OptRecord());
        QVERIFY(clock.elapsed() < 500);
    }

    // RFC 2782: the lowest priority only; among those a draw in [0, sum of weights], the first whose
    // running sum reaches it, with weight 0 placed first.
    void pick_data()
    {
        using C = DnsSRVResolver::Candidate;
        QTest::addColumn<QList<C>>("candidates");
        QTest::addColumn<quint32>("ticket");
        QTest::addColumn<quint16>("port");
        const C low{10, 60, {u"a"_s, 1}};
        const C lowToo{10, 40, {u"b"_s, 2}};
        const C high{20, 100, {u"c"_s, 3}};
        const C zero{10, 0, {u"z"_s, 4}};
        QTest::newRow("lowest priority, listed last") << QList<C>{high, low} << 0u << quint16(1);
        QTest::newRow("draw falls on the first weight") << QList<C>{low, lowToo, high} << 60u << quint16(1);
        QTest::newRow("draw falls past it") << QList<C>{low, lowToo, high} << 61u << quint16(2);
        QTest::newRow("draw of 0 picks weight 0") << QList<C>{low, zero} << 0u << quint16(4);
        QTest::newRow("weight 0 is passed over otherwise") << QList<C>{low, zero} << 1u << quint16(1);
        QTest::newRow("all weights 0: the first") << QList<C>{high, zero, C{10, 0, {u"y"_s, 5}}} << 0u << quint16(4);
    }
    void pick()
    {
        using C = DnsSRVResolver::Candidate;
        const quint32 ticket = TW_DATA(quint32, ticket);
        quint32 asked = 0;
        const std::optional<C> chosen = DnsSRVResolver::pick(TW_DATA(QList<C>, candidates), [&](quint32 bound) {
            asked = bound;
            return ticket;
        });
        QVERIFY(chosen);
        QCOMPARE(chosen->record.port, TW_DATA(quint16, port));
        QVERIFY(asked == 0 || ticket < asked);
    }

private:
    DnsResponder m_responder;
};

QTEST_GUILESS_MAIN(SRVResolverTest)
#include "SRVResolverTest.moc"
