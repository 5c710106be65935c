#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/providers/CertificateCheck.h"
#include "kit/providers/DNSRecordProvider.h"
#include "kit/providers/HTTPPingProvider.h"
#include "kit/providers/ICMPPingProvider.h"
#include "kit/providers/TCPPortProvider.h"
#include "kit/providers/TLSCertificateProvider.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"
#include "support/DnsResponder.h"
#include "support/LocalHttpServer.h"
#include "support/LocalTlsServer.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

ProviderTransports local()
{
    return {std::make_shared<BoundedHTTPClient>(BoundedHTTPClient::Limits{8388608, 2s, 5.0}),
            std::make_shared<TCPByteChannelFactory>(500ms)};
}

// One line per row: the status, "ms" when it has a latency, the detail ("down ms HTTP 503"); or
// "fails: why" when the poll itself fails.
QString
poll(const AnySourceConfig &config, const ProviderTransports &transports = local(), StopToken stop = makeStopToken())
{
    try {
        auto provider = ProviderRegistry::make(config, std::make_shared<InMemoryCredentialStore>(), transports);
        const SourceSnapshot snapshot = await(provider->fetch(std::move(stop)));
        if (snapshot.widgets.size() != 1 || snapshot.sourceID != config.id())
            return u"unexpected snapshot"_s;
        const auto row = std::get<CheckResult>(snapshot.widgets.first().payload);
        // The views find a check's row by its source's id and show the source's name.
        if (row.id != config.id().toString(QUuid::WithoutBraces).toUpper() || row.name != config.common().displayName)
            return u"row of another source: "_s + row.id + u' ' + row.name;
        QString text = toText(row.status);
        if (row.latencyMs && *row.latencyMs >= 0)
            text += u" ms"_s;
        return row.detail ? text + u' ' + *row.detail : text;
    } catch (const ProviderError &error) {
        return u"fails: "_s + error.description();
    }
}

quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

QDateTime inDays(double days)
{
    return QDateTime::currentDateTimeUtc().addSecs(qint64(days * 86400));
}

// Set in the copy of this test that runs inside a private network namespace, where ping sockets
// are allowed: there the echo tests must pass, not skip.
constexpr auto namespaceMarker = "TW_PING_NAMESPACE";

bool insideTestNamespace()
{
    return qEnvironmentVariableIsSet(namespaceMarker);
}

// Whether the kernel lets this process's group open ping sockets.
bool pingAllowed()
{
    QFile file(u"/proc/sys/net/ipv4/ping_group_range"_s);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> range = file.readAll().simplified().split(' ');
    if (range.size() != 2)
        return false;
    const qint64 gid = qint64(::getgid());
    return range.at(0).toLongLong() <= gid && gid <= range.at(1).toLongLong();
}

bool sysctl(const QString &setting)
{
    return QProcess::execute(u"sysctl"_s, {u"-qw"_s, setting}) == 0;
}

CheckResult pingOnce(const QString &host, qint64 count)
{
    ICMPPingProvider provider(ICMPPingConfig(QUuid::createUuid(), u"ping"_s, host, count));
    return std::get<CheckResult>(await(provider.fetch(makeStopToken())).widgets.first().payload);
}

} // namespace

Q_DECLARE_METATYPE(tw::AnySourceConfig)
Q_DECLARE_METATYPE(tw::DNSRecordType)

class PortAndPingProvidersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dns.start()); }

    // A source that cannot reach its peer reads down with the reason; a setting that cannot work
    // fails the poll.
    void unreachable_data()
    {
        QTest::addColumn<AnySourceConfig>("config");
        QTest::addColumn<QString>("row");
        const QUuid id = QUuid::createUuid();
        const QString nowhere = u"no-such-host.invalid"_s;
        const quint16 closed = closedPort();
        // Ports 1 and 65535 are ports, closed here; 0 and 65536 are not.
        QTest::newRow("TCP: port 1") << AnySourceConfig(TCPPortConfig(id, u"ssh"_s, u"127.0.0.1"_s, 1))
                                     << u"down closed"_s;
        QTest::newRow("TCP: port 65535") << AnySourceConfig(TCPPortConfig(id, u"ssh"_s, u"127.0.0.1"_s, 65535))
                                         << u"down closed"_s;
        QTest::newRow("TCP: port 65536") << AnySourceConfig(TCPPortConfig(id, u"ssh"_s, u"127.0.0.1"_s, 65536))
                                         << u"fails: port 65536 out of range (1-65535)"_s;
        QTest::newRow("TCP: unresolvable")
            << AnySourceConfig(TCPPortConfig(id, u"ssh"_s, nowhere, 22)) << u"down closed"_s;
        QTest::newRow("TCP: port 0") << AnySourceConfig(TCPPortConfig(id, u"ssh"_s, u"127.0.0.1"_s, 0))
                                     << u"fails: port 0 out of range (1-65535)"_s;
        QTest::newRow("HTTP: no scheme") << AnySourceConfig(HTTPPingConfig(id, u"web"_s, u"grafana.lan"_s))
                                         << u"fails: bad URL: grafana.lan"_s;
        QTest::newRow("HTTP: refused") << AnySourceConfig(
            HTTPPingConfig(id, u"web"_s, u"http://127.0.0.1:%1/"_s.arg(closed)))
                                       << u"down connection refused"_s;
        QTest::newRow("TLS: refused") << AnySourceConfig(TLSCertificateConfig(id, u"tls"_s, u"127.0.0.1"_s, closed))
                                      << u"down connection refused"_s;
        QTest::newRow("TLS: unresolvable")
            << AnySourceConfig(TLSCertificateConfig(id, u"tls"_s, nowhere, 443)) << u"down host not found"_s;
    }
    void unreachable() { QCOMPARE(poll(TW_DATA(AnySourceConfig, config)), TW_DATA(QString, row)); }

    // A listener that answers in plain HTTP: open to a port check, and no TLS to a certificate check.
    void aPlainListener()
    {
        QTcpServer plain;
        QVERIFY(plain.listen(QHostAddress::LocalHost, 0));
        connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
            while (QTcpSocket *socket = plain.nextPendingConnection())
                socket->write("HTTP/1.1 400 Bad Request\r\n\r\nnot a TLS server\r\n");
        });
        const quint16 port = plain.serverPort();
        QCOMPARE(poll(TCPPortConfig(QUuid::createUuid(), u"ssh"_s, u"127.0.0.1"_s, port)), u"up ms"_s);
        QCOMPARE(poll(TLSCertificateConfig(QUuid::createUuid(), u"tls"_s, u"127.0.0.1"_s, port)),
                 u"down TLS handshake failed"_s);
    }

    // Only the expected status is up, whatever its class; either way the answer's time is kept.
    void httpPing_data()
    {
        QTest::addColumn<int>("served");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("row");
        QTest::newRow("as expected") << 301 << 301 << u"up ms"_s;
        QTest::newRow("a success that was not asked for") << 204 << 200 << u"down ms HTTP 204"_s;
    }
    void httpPing()
    {
        LocalHttpServer server;
        server.route("/health", {.status = TW_DATA(int, served)});
        HTTPPingConfig config(QUuid::createUuid(), u"web"_s, server.url(u"/health"_s));
        config.expectedStatus = TW_DATA(int, expected);
        QCOMPARE(poll(config), TW_DATA(QString, row));
    }

    void wrongKindIsRefused()
    {
        const HTTPPingConfig ping(QUuid::createUuid(), u"web"_s, u"http://x"_s);
        const TCPPortConfig port(QUuid::createUuid(), u"ssh"_s, u"x"_s, 22);
        QVERIFY_THROWS_EXCEPTION(ProviderError, TCPPortProvider(ping, local()));
        QVERIFY_THROWS_EXCEPTION(ProviderError, HTTPPingProvider(port, local()));
    }

    void certificateNamePatterns_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("matches");
        QTest::newRow("case and final dot") << u"NAS.home.lan."_s << u"nas.Home.lan"_s << true;
        QTest::newRow("wildcard covers one label") << u"*.home.lan"_s << u"nas.home.lan"_s << true;
        QTest::newRow("wildcard covers no more") << u"*.home.lan"_s << u"a.nas.home.lan"_s << false;
        QTest::newRow("wildcard covers no less") << u"*.home.lan"_s << u"home.lan"_s << false;
        QTest::newRow("wildcard over a top-level name") << u"*.lan"_s << u"home.lan"_s << false;
        QTest::newRow("partial-label wildcard") << u"n*.home.lan"_s << u"nas.home.lan"_s << false;
        QTest::newRow("wildcard never covers an address") << u"*.0.0.1"_s << u"127.0.0.1"_s << false;
        QTest::newRow("suffix is not enough") << u"home.lan"_s << u"nas.home.lan"_s << false;
        QTest::newRow("empty pattern") << QString() << u"nas"_s << false;
    }
    void certificateNamePatterns()
    {
        QCOMPARE(CertificateCheck::nameMatches(TW_DATA(QString, pattern), TW_DATA(QString, host)),
                 TW_DATA(bool, matches));
    }

    void certificateNames_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("commonName");
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("matches");
        QTest::newRow("second alternative name")
            << QStringList{u"DNS:a.test"_s, u"DNS:b.test"_s} << QString() << u"b.test"_s << true;
        QTest::newRow("alternative names overrule the common name")
            << QStringList{u"DNS:a.test"_s} << u"c.test"_s << u"c.test"_s << false;
        QTest::newRow("common name when there are none") << QStringList() << u"c.test"_s << u"c.test"_s << true;
        QTest::newRow("address entry") << QStringList{u"IP:127.0.0.1"_s} << QString() << u"127.0.0.1"_s << true;
        QTest::newRow("an address needs an address entry")
            << QStringList{u"DNS:127.0.0.1"_s} << QString() << u"127.0.0.1"_s << false;
        QTest::newRow("IPv6 address entry") << QStringList{u"IP:::1"_s} << QString() << u"0:0::1"_s << true;
    }
    void certificateNames()
    {
        const TestCertificate made =
            TestCertificate::make(TW_DATA(QStringList, names), inDays(-1), inDays(30), TW_DATA(QString, commonName));
        QVERIFY(!made.certificate.isNull());
        QCOMPARE(CertificateCheck::certificateNames(made.certificate, TW_DATA(QString, host)), TW_DATA(bool, matches));
    }

    void tlsAgainstALocalServer_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QDateTime>("validFrom");
        QTest::addColumn<QDateTime>("validUntil");
        QTest::addColumn<QString>("sniName");
        QTest::addColumn<qint64>("warningDays");
        QTest::addColumn<QString>("row");
        const QStringList site{u"DNS:site.tidewatch.test"_s};
        const QString sni = u"site.tidewatch.test"_s;
        QTest::newRow("expiring in 3 days")
            << site << inDays(-10.0) << inDays(3.0) << sni << qint64(14) << u"warn ms expires in 3 days"_s;
        QTest::newRow("3 days is outside a 2-day window")
            << site << inDays(-10.0) << inDays(3.0) << sni << qint64(2) << u"up ms expires in 3 days"_s;
        QTest::newRow("a part day counts as one")
            << site << inDays(-10.0) << inDays(0.5) << sni << qint64(14) << u"warn ms expires in 1 day"_s;
        QTest::newRow("expired") << site << inDays(-30.0) << inDays(-3.0) << sni << qint64(14)
                                 << u"down ms expired 3 days ago"_s;
        QTest::newRow("expired within the day")
            << site << inDays(-30.0) << inDays(-0.5) << sni << qint64(14) << u"down ms expired less than a day ago"_s;
        // On the minute, so that the text does not depend on when the row is made.
        const QDateTime from(QDate::currentDate().addDays(3), QTime(12, 0), Qt::UTC);
        QTest::newRow("not yet valid") << site << from << inDays(90.0) << sni << qint64(14)
                                       << u"down ms not valid until "_s + from.toString(u"yyyy-MM-dd HH:mm"_s)
                + u" UTC"_s;
        QTest::newRow("wrong name") << QStringList{u"DNS:other.tidewatch.test"_s} << inDays(-10.0) << inDays(90.0)
                                    << sni << qint64(14) << u"down ms name does not match"_s;
        QTest::newRow("the name outranks the dates")
            << QStringList{u"DNS:other.tidewatch.test"_s} << inDays(-30.0) << inDays(-3.0) << sni << qint64(14)
            << u"down ms name does not match"_s;
        QTest::newRow("no name given: the host is not the certificate's")
            << site << inDays(-10.0) << inDays(90.0) << QString() << qint64(14) << u"down ms name does not match"_s;
    }
    void tlsAgainstALocalServer()
    {
        const TestCertificate made = TestCertificate::make(TW_DATA(QStringList, names),
                                                           TW_DATA(QDateTime, validFrom),
                                                           TW_DATA(QDateTime, validUntil));
        LocalTlsServer server(made);
        QVERIFY(server.port() != 0);
        TLSCertificateConfig config(QUuid::createUuid(), u"tls"_s, u"127.0.0.1"_s, server.port());
        const QString sniName = TW_DATA(QString, sniName);
        if (!sniName.isEmpty())
            config.sniName = sniName;
        config.warningDays = TW_DATA(qint64, warningDays);
        QCOMPARE(poll(config), TW_DATA(QString, row));
    }

    void aStopEndsAStalledHandshakeAtOnce()
    {
        QTcpServer silent; // accepts and never answers the client's hello
        QVERIFY(silent.listen(QHostAddress::LocalHost, 0));
        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QVERIFY_THROWS_EXCEPTION(
            Cancelled,
            poll(TLSCertificateConfig(QUuid::createUuid(), u"tls"_s, u"127.0.0.1"_s, silent.serverPort()),
                 local(),
                 stop));
        QVERIFY(clock.elapsed() < 1000);
    }

    void dnsAgainstALocalNameserver_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DNSRecordType>("type");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("row");
        using T = DNSRecordType;
        QTest::newRow("A, any answer") << u"host.example.test"_s << T::A << QString() << u"up ms"_s;
        QTest::newRow("A, the second address") << u"host.example.test"_s << T::A << u"192.0.2.8"_s << u"up ms"_s;
        QTest::newRow("A, not among them") << u"host.example.test"_s << T::A << u"192.0.2.9"_s
                                           << u"down ms expected 192.0.2.9 got 192.0.2.7, 192.0.2.8"_s;
        QTest::newRow("AAAA, written longhand")
            << u"host.example.test"_s << T::AAAA << u"2001:0db8:0:0::7"_s << u"up ms"_s;
        QTest::newRow("CNAME, any case and a final dot")
            << u"alias.example.test"_s << T::CNAME << u"HOST.example.test."_s << u"up ms"_s;
        QTest::newRow("MX by exchange") << u"mail.example.test"_s << T::MX << u"mx2.example.test"_s << u"up ms"_s;
        QTest::newRow("MX with preference")
            << u"mail.example.test"_s << T::MX << u"10 mx1.example.test"_s << u"up ms"_s;
        QTest::newRow("MX, preference does not match")
            << u"mail.example.test"_s << T::MX << u"20 mx1.example.test"_s
            << u"down ms expected 20 mx1.example.test got 10 mx1.example.test, 20 mx2.example.test"_s;
        QTest::newRow("TXT, strings of one record joined")
            << u"text.example.test"_s << T::TXT << u"hello world"_s << u"up ms"_s;
        QTest::newRow("TXT, only whole records") << u"text.example.test"_s << T::TXT << u"v=spf1"_s
                                                 << u"down ms expected v=spf1 got v=spf1 -all, hello world"_s;
        QTest::newRow("SRV, another port")
            << u"service.example.test"_s << T::SRV << u"10 5 8080 rack.example.test"_s
            << u"down ms expected 10 5 8080 rack.example.test got 10 5 8443 rack.example.test"_s;
        QTest::newRow("no such name") << u"nx.example.test"_s << T::A << QString() << u"down ms NXDOMAIN"_s;
        QTest::newRow("an expected value does not turn no answer into a mismatch")
            << u"mail.example.test"_s << T::A << u"192.0.2.7"_s << u"down ms no answer"_s;
    }
    void dnsAgainstALocalNameserver()
    {
        DNSRecordConfig config(QUuid::createUuid(), u"dns"_s, TW_DATA(QString, name), TW_DATA(DNSRecordType, type));
        const QString expected = TW_DATA(QString, expected);
        if (!expected.isEmpty())
            config.expectedValue = expected;
        config.nameserver = m_dns.nameserver();
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(poll(config), TW_DATA(QString, row));
        QVERIFY2(clock.elapsed() < 900, "an answered lookup must not wait for its bound");
    }

    void dnsSilenceIsBounded()
    {
        DNSRecordConfig config(QUuid::createUuid(), u"dns"_s, u"drop.example.test"_s, DNSRecordType::A);
        config.nameserver = m_dns.nameserver();
        DNSRecordProvider provider(config, 600ms);
        QElapsedTimer clock;
        clock.start();
        const auto row = std::get<CheckResult>(await(provider.fetch(makeStopToken())).widgets.first().payload);
        QCOMPARE(toText(row.status) + u' ' + row.detail.value_or(QString()), u"down timed out"_s);
        QCOMPARE(row.latencyMs, std::nullopt);
        QVERIFY2(clock.elapsed() >= 590 && clock.elapsed() < 1100, qPrintable(QString::number(clock.elapsed())));
    }

    void ping_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("row");
        QTest::newRow("unresolvable name") << u"no-such-host.invalid"_s << 1 << u"down host not found"_s;
        // Where the kernel allows ping sockets, an address with no route says so instead.
        QTest::newRow("refused by the kernel, or no route")
            << u"192.0.2.1"_s << 1
            << (pingAllowed() ? u"down host unreachable"_s
                              : u"down ping sockets are not allowed for this user; allow them with "
                                "sysctl -w net.ipv4.ping_group_range=\"0 2147483647\""_s);
        QTest::newRow("one echo") << u"127.0.0.1"_s << 1 << u"up ms"_s;
        QTest::newRow("by name") << u"localhost"_s << 2 << u"up ms"_s;
        QTest::newRow("IPv6") << u"::1"_s << 2 << u"up ms"_s;
    }
    void ping()
    {
        const bool echoes = TW_DATA(QString, row).startsWith(u"up");
        if (echoes && !pingAllowed() && !insideTestNamespace())
            QSKIP("the kernel refuses ping sockets here; echoInAPrivateNetworkNamespace runs this where they are "
                  "allowed");
        if (pingAllowed() && !insideTestNamespace() && TW_DATA(QString, host) == u"192.0.2.1")
            QSKIP("this machine has a route for the test network; the private namespace has none");
        QElapsedTimer clock;
        clock.start();
        const CheckResult row = pingOnce(TW_DATA(QString, host), TW_DATA(int, count));
        QCOMPARE(toText(row.status) + (row.latencyMs ? u" ms"_s : QString())
                     + (row.detail ? u' ' + *row.detail : QString()),
                 TW_DATA(QString, row));
        QVERIFY(!row.latencyMs || (*row.latencyMs > 0 && *row.latencyMs < 100));
        QVERIFY2(!echoes || clock.elapsed() < 1000, "answered echoes must not wait for their bound");
    }

    void unansweredEchoesReadNoReply()
    {
        if (!insideTestNamespace())
            QSKIP("needs net.ipv4.icmp_echo_ignore_all, which only the private namespace may change");
        QVERIFY(sysctl(u"net.ipv4.icmp_echo_ignore_all=1"_s));
        const auto restore = qScopeGuard([] { sysctl(u"net.ipv4.icmp_echo_ignore_all=0"_s); });
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(poll(ICMPPingConfig(QUuid::createUuid(), u"ping"_s, u"127.0.0.1"_s, 2)), u"down no reply"_s);
        // Two echoes, each waiting out its own bound, and no longer.
        QVERIFY2(clock.elapsed() >= 2 * 1900 && clock.elapsed() < 2 * 2000 + 800,
                 qPrintable(QString::number(clock.elapsed())));

        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        clock.restart();
        QVERIFY_THROWS_EXCEPTION(
            Cancelled,
            poll(ICMPPingConfig(QUuid::createUuid(), u"ping"_s, u"127.0.0.1"_s, 5), local(), stop));
        QVERIFY(clock.elapsed() < 1000);
    }

    void echoInAPrivateNetworkNamespace()
    {
        if (insideTestNamespace())
            QSKIP("already inside");
        const QString unshare = QStandardPaths::findExecutable(u"unshare"_s);
        QVERIFY2(!unshare.isEmpty(), "unshare (util-linux) is needed");
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(namespaceMarker), u"1"_s);
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(unshare,
                    {u"--user"_s,
                     u"--map-root-user"_s,
                     u"--net"_s,
                     u"sh"_s,
                     u"-ec"_s,
                     u"ip link set lo up; sysctl -qw net.ipv4.ping_group_range='0 0'; exec \"$0\" \"$@\""_s,
                     QCoreApplication::applicationFilePath(),
                     u"ping"_s,
                     u"unansweredEchoesReadNoReply"_s});
        QVERIFY(child.waitForFinished(60000));
        const QByteArray output = child.readAll();
        QVERIFY2(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0, output.constData());
        QVERIFY2(!output.contains("SKIP"), output.constData());
        QVERIFY2(output.contains("PASS   : PortAndPingProvidersTest::unansweredEchoesReadNoReply()"),
                 output.constData());
    }

private:
    DnsResponder m_dns;
};

QTEST_GUILESS_MAIN(PortAndPingProvidersTest)
#include "PortAndPingProvidersTest.moc"
