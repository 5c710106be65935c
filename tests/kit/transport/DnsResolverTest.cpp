#include "kit/transport/DnsResolver.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/SRVRData.h"
#include "kit/transport/SRVResolver.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/ModelCases.h"
#include "support/TestData.h"
#include "support/TransportPeers.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>

#include <arpa/nameser.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(QList<tw::DnsSRVResolver::Candidate>)

namespace {

// "host:port", or empty for no record.
QString recordText(const std::optional<SRVRecord> &record)
{
    return record ? record->host + u':' + QString::number(record->port) : QString();
}

// Started and left running; the frame of each lives until it ends.
QCoro::Task<> askAndForget(std::function<QCoro::Task<>()> ask, std::shared_ptr<int> ended)
{
    try {
        co_await ask();
    } catch (...) { }
    ++*ended;
}

} // namespace

class DnsResolverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_responder.start()); }

    void nameserverText_data() { addCaseRows(u"transport/nameservers.json"_s); }
    void nameserverText()
    {
        QFETCH(QJsonObject, given);
        const std::optional<Nameserver> server = Nameserver::parse(given[u"text"].toString());
        QCOMPARE(server ? server->address.toString() + u' ' + QString::number(server->port) : QString(),
                 given[u"server"].toString());
    }

    // Each way a nameserver answers reads in its own words; an answer has none.
    void statusesToldApart_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::newRow("answer") << u"host.example.test"_s << QString();
        QTest::newRow("NODATA") << u"mail.example.test"_s << u"no answer"_s;
        QTest::newRow("NXDOMAIN") << u"nx.example.test"_s << u"NXDOMAIN"_s;
        QTest::newRow("SERVFAIL") << u"servfail.example.test"_s << u"server failure"_s;
        QTest::newRow("REFUSED") << u"refused.example.test"_s << u"refused by the nameserver"_s;
        QTest::newRow("silence") << u"drop.example.test"_s << u"timed out"_s;
        QTest::newRow("nothing listening, told at once") << u"host.example.test"_s << u"connection refused"_s;
    }
    void statusesToldApart()
    {
        Nameserver server = m_responder.server();
        if (TW_DATA(QString, text) == u"connection refused"_s) {
            QUdpSocket probe;
            QVERIFY(probe.bind(QHostAddress::LocalHost, 0));
            server.port = probe.localPort();
        }
        QElapsedTimer clock;
        clock.start();
        const DnsReply reply =
            await(DnsResolver::query(TW_DATA(QString, name), ns_t_a, 400ms, makeStopToken(), server));
        QCOMPARE(reply.text(), TW_DATA(QString, text));
        QCOMPARE(reply.status == DnsStatus::Answered, TW_DATA(QString, text).isEmpty());
        QVERIFY2(clock.elapsed() < 900, qPrintable(QString::number(clock.elapsed())));
    }

    void hostAddresses_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("found"); // the addresses, sorted, or the failure
        QTest::newRow("from the nameserver, both families")
            << u"host.example.test"_s << u"192.0.2.7 192.0.2.8 2001:db8::7"_s;
        // The hosts file answers before any nameserver is asked, as the system's resolver does.
        QTest::newRow("from the hosts file") << u"localhost"_s << u"127.0.0.1"_s;
        // A game probe gives up at once on a name that does not resolve, so the kind must say so.
        QTest::newRow("no such name") << u"nx.example.test"_s << u"host not found"_s;
        QTest::newRow("silence") << u"drop.example.test"_s << u"timed out"_s;
    }
    void hostAddresses()
    {
        QStringList found;
        try {
            for (const QHostAddress &address :
                 await(HostLookup::addresses(TW_DATA(QString, host), 400ms, makeStopToken(), m_responder.server())))
                found.append(address.toString());
        } catch (const ProviderError &error) {
            found.append(error.description());
        }
        found.sort();
        if (TW_DATA(QString, host) == u"localhost"_s)
            found.removeAll(u"::1"_s); // a hosts file may name localhost in both families
        QCOMPARE(found.join(u' '), TW_DATA(QString, found));
    }

    void aStopEndsTheQueryAtOnce_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("record") << u"record"_s;
        QTest::newRow("host name") << u"host"_s;
        QTest::newRow("SRV, which ends in no record") << u"SRV"_s;
    }
    void aStopEndsTheQueryAtOnce()
    {
        ScriptedUdpPeer silent;
        const Nameserver nameserver{QHostAddress::LocalHost, silent.port()};
        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        const QString kind = TW_DATA(QString, kind);
        if (kind == u"SRV"_s)
            QCOMPARE(recordText(await(DnsSRVResolver(nameserver).resolve(u"drop.example.test"_s, 5s, stop))),
                     QString());
        else if (kind == u"host"_s)
            QVERIFY_THROWS_EXCEPTION(Cancelled,
                                     await(HostLookup::addresses(u"drop.example.test"_s, 5s, stop, nameserver)));
        else
            QVERIFY_THROWS_EXCEPTION(Cancelled,
                                     await(DnsResolver::query(u"drop.example.test"_s, ns_t_a, 5s, stop, nameserver)));
        QVERIFY(clock.elapsed() < 500);
        QVERIFY(silent.received().size() >= 1);
        // Ended in c-ares too: no retry reaches the nameserver after the stop.
        const int asked = silent.received().size();
        QTest::qWait(1800);
        QCOMPARE(silent.received().size(), asked);
    }

    // Look-ups that a silent nameserver holds must not hold up one to a nameserver that answers:
    // each has its own socket, and none waits for a thread.
    void silentNameserversStarveNothing_data()
    {
        QTest::addColumn<bool>("srv");
        QTest::newRow("SRV") << true;
        QTest::newRow("host") << false;
    }
    void silentNameserversStarveNothing()
    {
        const int count = 8;
        ScriptedUdpPeer silent;
        const StopToken stopSilent = makeStopToken();
        const auto ended = std::make_shared<int>(0);
        std::vector<QCoro::Task<>> pending;
        for (int i = 0; i < count; ++i) {
            const QString name = u"_minecraft._tcp.drop%1.example.test"_s.arg(i);
            const Nameserver server{QHostAddress::LocalHost, silent.port()};
            pending.push_back(askAndForget(
                [name, server, stopSilent]() -> QCoro::Task<> {
                    co_await DnsResolver::query(name, ns_t_srv, 10s, stopSilent, server);
                },
                ended));
        }
        QTRY_COMPARE_WITH_TIMEOUT(silent.received().size(), count, 2000);

        QElapsedTimer clock;
        clock.start();
        if (TW_DATA(bool, srv)) {
            DnsSRVResolver resolver(m_responder.server());
            QCOMPARE(
                recordText(await(resolver.resolve(u"_minecraft._tcp.port25570.example.test"_s, 2s, makeStopToken()))),
                u"127.0.0.1:25570"_s);
        } else {
            QCOMPARE(
                await(HostLookup::addresses(u"host.example.test"_s, 2s, makeStopToken(), m_responder.server())).size(),
                3);
        }
        // Well inside the 2 s an SRV look-up is given, where a pool of threads held by the silent
        // ones made it wait about 10 s.
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(*ended, 0);
        stopSilent->requestStop();
        QTRY_COMPARE_WITH_TIMEOUT(*ended, count, 500);
    }

    // Records as they come off the wire, and targets as c-ares decoded them.
    void srvRecords_data() { addCaseRows(u"transport/srv-records.json"_s); }
    void srvRecords()
    {
        QFETCH(QJsonObject, given);
        const std::optional<SRVRecord> record = given.contains(u"rdata")
            ? SRVRData::parse(QByteArray::fromHex(given[u"rdata"].toString().toLatin1()))
            : SRVRData::accept(quint16(given[u"port"].toInt()), given[u"target"].toString());
        QCOMPARE(recordText(record), given[u"record"].toString());
    }

    void srvEligibleHosts_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("eligible");
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("IPv4") << u"192.0.2.1"_s << false;
        QTest::newRow("name") << u"mc.example"_s << true;
        QTest::newRow("five numbers are a name") << u"1.2.3.4.5"_s << true;
    }
    void srvEligibleHosts() { QCOMPARE(isSRVEligibleHost(TW_DATA(QString, host)), TW_DATA(bool, eligible)); }

    // An answer comes at once, not at the bound; silence ends at the bound and, like no such name, is
    // no record.
    void srvAgainstALocalNameserver_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<int>("boundMs");
        QTest::addColumn<QString>("record");
        QTest::addColumn<int>("atLeastMs");
        QTest::newRow("the lower priority wins, whatever the order")
            << u"two._minecraft._tcp.example.test"_s << 3000 << u"rack1.example.test:8080"_s << 0;
        QTest::newRow("a root target is no record") << u"root._minecraft._tcp.example.test"_s << 3000 << QString() << 0;
        QTest::newRow("no such name") << u"nx._minecraft._tcp.example.test"_s << 3000 << QString() << 0;
        QTest::newRow("a local server behind the record")
            << u"_minecraft._tcp.port25570.example.test"_s << 3000 << u"127.0.0.1:25570"_s << 0;
        QTest::newRow("silence") << u"drop.example.test"_s << 250 << QString() << 240;
    }
    void srvAgainstALocalNameserver()
    {
        const int bound = TW_DATA(int, boundMs);
        DnsSRVResolver resolver(m_responder.server());
        QElapsedTimer clock;
        clock.start();
        const auto record = await(resolver.resolve(TW_DATA(QString, service), bound * 1ms, makeStopToken()));
        QCOMPARE(recordText(record), TW_DATA(QString, record));
        QVERIFY2(clock.elapsed() >= TW_DATA(int, atLeastMs) && clock.elapsed() < 900,
                 qPrintable(QString::number(clock.elapsed())));
    }

    // RFC 2782: the lowest priority only; among those a draw in [0, sum of weights], the first whose
    // running sum reaches it, with weight 0 placed first.
    void srvPick_data()
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
    void srvPick()
    {
        using C = DnsSRVResolver::Candidate;
        const quint32 ticket = TW_DATA(quint32, ticket);
        quint32 asked = 0;
        const std::optional<C> chosen = DnsSRVResolver::pick(TW_DATA(QList<C>, candidates), [&](quint32 bound) {
            asked = bound;
            return ticket;
        });
        QCOMPARE(chosen ? chosen->record.port : quint16(0), TW_DATA(quint16, port));
        QVERIFY(asked == 0 || ticket < asked);
    }

private:
    DnsResponder m_responder;
};

QTEST_GUILESS_MAIN(DnsResolverTest)
#include "DnsResolverTest.moc"
