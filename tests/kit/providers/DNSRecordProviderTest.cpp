#include "kit/providers/DNSRecordProvider.h"

#include "kit/base/Cancelled.h"
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

Q_DECLARE_METATYPE(tw::DNSRecordType)

class DNSRecordProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_responder.start()); }

    void againstALocalNameserver_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DNSRecordType>("type");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("row");
        using T = DNSRecordType;
        QTest::newRow("A, any answer") << u"host.example.test"_s << T::A << QString() << u"up"_s;
        QTest::newRow("A, the second address") << u"host.example.test"_s << T::A << u"192.0.2.8"_s << u"up"_s;
        QTest::newRow("A, not among them") << u"host.example.test"_s << T::A << u"192.0.2.9"_s
                                           << u"down expected 192.0.2.9 got 192.0.2.7, 192.0.2.8"_s;
        QTest::newRow("AAAA, written longhand")
            << u"host.example.test"_s << T::AAAA << u"2001:0db8:0:0::7"_s << u"up"_s;
        QTest::newRow("AAAA, another address")
            << u"host.example.test"_s << T::AAAA << u"2001:db8::8"_s << u"down expected 2001:db8::8 got 2001:db8::7"_s;
        QTest::newRow("CNAME, any case and a final dot")
            << u"alias.example.test"_s << T::CNAME << u"HOST.example.test."_s << u"up"_s;
        QTest::newRow("CNAME, another name") << u"alias.example.test"_s << T::CNAME << u"www.example.test"_s
                                             << u"down expected www.example.test got host.example.test"_s;
        QTest::newRow("MX by exchange") << u"mail.example.test"_s << T::MX << u"mx2.example.test"_s << u"up"_s;
        QTest::newRow("MX with preference") << u"mail.example.test"_s << T::MX << u"10 mx1.example.test"_s << u"up"_s;
        QTest::newRow("MX, preference does not match")
            << u"mail.example.test"_s << T::MX << u"20 mx1.example.test"_s
            << u"down expected 20 mx1.example.test got 10 mx1.example.test, 20 mx2.example.test"_s;
        QTest::newRow("TXT, strings of one record joined")
            << u"text.example.test"_s << T::TXT << u"hello world"_s << u"up"_s;
        QTest::newRow("TXT, only whole records") << u"text.example.test"_s << T::TXT << u"v=spf1"_s
                                                 << u"down expected v=spf1 got v=spf1 -all, hello world"_s;
        QTest::newRow("SRV by target") << u"service.example.test"_s << T::SRV << u"rack.example.test"_s << u"up"_s;
        QTest::newRow("SRV in full") << u"service.example.test"_s << T::SRV << u"10 5 8443 rack.example.test"_s
                                     << u"up"_s;
        QTest::newRow("SRV, another port")
            << u"service.example.test"_s << T::SRV << u"10 5 8080 rack.example.test"_s
            << u"down expected 10 5 8080 rack.example.test got 10 5 8443 rack.example.test"_s;
        QTest::newRow("no such name") << u"nx.example.test"_s << T::A << QString() << u"down NXDOMAIN"_s;
        QTest::newRow("name without that record")
            << u"alias.example.test"_s << T::TXT << QString() << u"down no answer"_s;
        QTest::newRow("an expected value does not turn no answer into a mismatch")
            << u"mail.example.test"_s << T::A << u"192.0.2.7"_s << u"down no answer"_s;
        QTest::newRow("server failure") << u"servfail.example.test"_s << T::A << QString() << u"down server failure"_s;
        QTest::newRow("refused") << u"refused.example.test"_s << T::MX << QString()
                                 << u"down refused by the nameserver"_s;
    }
    void againstALocalNameserver()
    {
        DNSRecordConfig config(QUuid::createUuid(), u"dns"_s, TW_DATA(QString, name), TW_DATA(DNSRecordType, type));
        const QString expected = TW_DATA(QString, expected);
        if (!expected.isEmpty())
            config.expectedValue = expected;
        config.nameserver = m_responder.nameserver();
        QElapsedTimer clock;
        clock.start();
        const CheckResult row = poll(config);
        QCOMPARE(toText(row.status) + (row.detail ? u' ' + *row.detail : QString()), TW_DATA(QString, row));
        QVERIFY(row.latencyMs && *row.latencyMs > 0 && *row.latencyMs < 900);
        QVERIFY2(clock.elapsed() < 900, "an answered lookup must not wait for its bound");
    }

    void silenceIsBounded()
    {
        DNSRecordConfig config(QUuid::createUuid(), u"dns"_s, u"drop.example.test"_s, DNSRecordType::A);
        config.nameserver = m_responder.nameserver();
        DNSRecordProvider provider(config, 600ms);
        QElapsedTimer clock;
        clock.start();
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        const auto row = std::get<CheckResult>(snapshot.widgets.first().payload);
        QCOMPARE(row.status, ServiceStatus::Down);
        QCOMPARE(row.detail, u"timed out"_s);
        QCOMPARE(row.latencyMs, std::nullopt);
        QVERIFY2(clock.elapsed() >= 590 && clock.elapsed() < 1100, qPrintable(QString::number(clock.elapsed())));
    }

    void aStopEndsTheLookupAtOnce()
    {
        DNSRecordConfig config(QUuid::createUuid(), u"dns"_s, u"drop.example.test"_s, DNSRecordType::A);
        config.nameserver = m_responder.nameserver();
        DNSRecordProvider provider(config);
        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QVERIFY_THROWS_EXCEPTION(Cancelled, await(provider.fetch(stop)));
        QVERIFY(clock.elapsed() < 500);
    }

private:
    static CheckResult poll(const DNSRecordConfig &config)
    {
        DNSRecordProvider provider(config);
        const SourceSnapshot snapshot = await(provider.fetch(makeStopToken()));
        if (snapshot.widgets.size() != 1 || snapshot.sourceID != config.id)
            return {};
        return std::get<CheckResult>(snapshot.widgets.first().payload);
    }

    DnsResponder m_responder;
};

QTEST_GUILESS_MAIN(DNSRecordProviderTest)
#include "DNSRecordProviderTest.moc"
