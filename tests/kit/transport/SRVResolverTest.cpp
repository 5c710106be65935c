#include "kit/transport/SRVResolver.h"

#include "kit/transport/SRVRData.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/ModelCases.h"
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

class SRVResolverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_responder.start()); }

    // Records as they come off the wire, and targets as c-ares decoded them.
    void records_data() { addCaseRows(u"transport/srv-records.json"_s); }
    void records()
    {
        QFETCH(QJsonObject, given);
        const OptRecord record = given.contains(u"rdata")
            ? SRVRData::parse(QByteArray::fromHex(given[u"rdata"].toString().toLatin1()))
            : SRVRData::accept(quint16(given[u"port"].toInt()), given[u"target"].toString());
        QCOMPARE(record ? record->host + u':' + QString::number(record->port) : QString(), given[u"record"].toString());
    }

    void eligibleHosts_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("eligible");
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("IPv4") << u"192.0.2.1"_s << false;
        QTest::newRow("IPv6") << u"2001:db8::7"_s << false;
        QTest::newRow("name") << u"mc.example"_s << true;
        QTest::newRow("five numbers are a name") << u"1.2.3.4.5"_s << true;
    }
    void eligibleHosts() { QCOMPARE(isSRVEligibleHost(TW_DATA(QString, host)), TW_DATA(bool, eligible)); }

    void againstALocalNameserver_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<OptRecord>("record");
        QTest::newRow("the lower priority wins, whatever the order")
            << u"two._minecraft._tcp.example.test"_s << OptRecord(SRVRecord{u"rack1.example.test"_s, 8080});
        QTest::newRow("root target") << u"root._minecraft._tcp.example.test"_s << OptRecord();
        QTest::newRow("no such name") << u"nx._minecraft._tcp.example.test"_s << OptRecord();
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

    // Silence ends at the caller's bound, a stop at once; neither is a record.
    void unansweredEndsInNoRecord_data()
    {
        QTest::addColumn<int>("boundMs");
        QTest::addColumn<int>("stopMs"); // 0: never stopped
        QTest::addColumn<int>("atLeastMs");
        QTest::addColumn<int>("underMs");
        QTest::newRow("silence") << 250 << 0 << 240 << 900;
        QTest::newRow("a stop") << 5000 << 50 << 0 << 500;
    }
    void unansweredEndsInNoRecord()
    {
        DnsSRVResolver resolver(m_responder.server());
        const StopToken stop = makeStopToken();
        if (TW_DATA(int, stopMs) > 0)
            QTimer::singleShot(TW_DATA(int, stopMs), stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        const auto bound = std::chrono::milliseconds(TW_DATA(int, boundMs));
        QCOMPARE(await(resolver.resolve(u"drop.example.test"_s, bound, stop)), OptRecord());
        QVERIFY2(clock.elapsed() >= TW_DATA(int, atLeastMs) && clock.elapsed() < TW_DATA(int, underMs),
                 qPrintable(QString::number(clock.elapsed())));
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
