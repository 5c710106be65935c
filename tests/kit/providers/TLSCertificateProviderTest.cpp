#include "kit/providers/TLSCertificateProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/providers/CertificateCheck.h"
#include "support/Await.h"
#include "support/LocalTlsServer.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qint64 day = 86400;

QDateTime inDays(double days)
{
    return QDateTime::currentDateTimeUtc().addSecs(qint64(days * day));
}

CheckResult poll(const TLSCertificateConfig &config, StopToken stop = makeStopToken())
{
    TLSCertificateProvider provider(config);
    const SourceSnapshot snapshot = await(provider.fetch(std::move(stop)));
    if (snapshot.widgets.size() != 1 || snapshot.sourceID != config.id)
        return {};
    return std::get<CheckResult>(snapshot.widgets.first().payload);
}

} // namespace

class TLSCertificateProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("matches");
        QTest::newRow("same") << u"nas.home.lan"_s << u"nas.home.lan"_s << true;
        QTest::newRow("case and final dot") << u"NAS.home.lan."_s << u"nas.Home.lan"_s << true;
        QTest::newRow("other name") << u"nas.home.lan"_s << u"nvr.home.lan"_s << false;
        QTest::newRow("wildcard covers one label") << u"*.home.lan"_s << u"nas.home.lan"_s << true;
        QTest::newRow("wildcard covers no more") << u"*.home.lan"_s << u"a.nas.home.lan"_s << false;
        QTest::newRow("wildcard covers no less") << u"*.home.lan"_s << u"home.lan"_s << false;
        QTest::newRow("wildcard over a top-level name") << u"*.lan"_s << u"home.lan"_s << false;
        QTest::newRow("partial-label wildcard") << u"n*.home.lan"_s << u"nas.home.lan"_s << false;
        QTest::newRow("wildcard never covers an address") << u"*.0.0.1"_s << u"127.0.0.1"_s << false;
        QTest::newRow("suffix is not enough") << u"home.lan"_s << u"nas.home.lan"_s << false;
        QTest::newRow("empty pattern") << QString() << u"nas"_s << false;
    }
    void names()
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

    void againstALocalServer_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QDateTime>("validFrom");
        QTest::addColumn<QDateTime>("validUntil");
        QTest::addColumn<QString>("sniName");
        QTest::addColumn<qint64>("warningDays");
        QTest::addColumn<QString>("row");
        const QStringList site{u"DNS:site.tidewatch.test"_s};
        const QString sni = u"site.tidewatch.test"_s;
        QTest::newRow("valid") << site << inDays(-10.0) << inDays(90.0) << sni << qint64(14)
                               << u"up expires in 90 days"_s;
        QTest::newRow("expiring in 3 days")
            << site << inDays(-10.0) << inDays(3.0) << sni << qint64(14) << u"warn expires in 3 days"_s;
        QTest::newRow("3 days is outside a 2-day window")
            << site << inDays(-10.0) << inDays(3.0) << sni << qint64(2) << u"up expires in 3 days"_s;
        QTest::newRow("a part day counts as one")
            << site << inDays(-10.0) << inDays(0.5) << sni << qint64(14) << u"warn expires in 1 day"_s;
        QTest::newRow("expired") << site << inDays(-30.0) << inDays(-3.0) << sni << qint64(14)
                                 << u"down expired 3 days ago"_s;
        QTest::newRow("expired within the day")
            << site << inDays(-30.0) << inDays(-0.5) << sni << qint64(14) << u"down expired less than a day ago"_s;
        // On the minute, so that the text does not depend on when the row is made.
        const QDateTime from(QDate::currentDate().addDays(3), QTime(12, 0), Qt::UTC);
        QTest::newRow("not yet valid") << site << from << inDays(90.0) << sni << qint64(14)
                                       << u"down not valid until "_s + from.toString(u"yyyy-MM-dd HH:mm"_s) + u" UTC"_s;
        QTest::newRow("wrong name") << QStringList{u"DNS:other.tidewatch.test"_s} << inDays(-10.0) << inDays(90.0)
                                    << sni << qint64(14) << u"down name does not match"_s;
        QTest::newRow("the name outranks the dates")
            << QStringList{u"DNS:other.tidewatch.test"_s} << inDays(-30.0) << inDays(-3.0) << sni << qint64(14)
            << u"down name does not match"_s;
        QTest::newRow("no name given: the host, an address")
            << QStringList{u"IP:127.0.0.1"_s} << inDays(-10.0) << inDays(90.0) << QString() << qint64(14)
            << u"up expires in 90 days"_s;
        QTest::newRow("no name given: the host is not the certificate's")
            << site << inDays(-10.0) << inDays(90.0) << QString() << qint64(14) << u"down name does not match"_s;
    }
    void againstALocalServer()
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
        const CheckResult row = poll(config);
        QCOMPARE(toText(row.status) + u' ' + row.detail.value_or(QString()), TW_DATA(QString, row));
        QVERIFY(row.latencyMs && *row.latencyMs > 0 && *row.latencyMs < 2000);
    }

    void failuresToConnect_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("kind"); // 0 closed port, 1 plain TCP listener that sends garbage
        QTest::addColumn<QString>("detail");
        QTest::newRow("closed port") << u"127.0.0.1"_s << 0 << u"connection refused"_s;
        QTest::newRow("not TLS") << u"127.0.0.1"_s << 1 << u"TLS handshake failed"_s;
        QTest::newRow("unresolvable") << u"no-such-host.invalid"_s << 0 << u"host not found"_s;
    }
    void failuresToConnect()
    {
        QTcpServer plain;
        QVERIFY(plain.listen(QHostAddress::LocalHost, 0));
        connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
            while (QTcpSocket *socket = plain.nextPendingConnection())
                socket->write("HTTP/1.1 400 Bad Request\r\n\r\nnot a TLS server\r\n");
        });
        quint16 port = plain.serverPort();
        if (TW_DATA(int, kind) == 0) {
            QTcpServer probe;
            QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
            port = probe.serverPort();
        }
        const CheckResult row = poll(TLSCertificateConfig(QUuid::createUuid(), u"tls"_s, TW_DATA(QString, host), port));
        QCOMPARE(row.status, ServiceStatus::Down);
        QCOMPARE(row.detail, TW_DATA(QString, detail));
        QCOMPARE(row.latencyMs, std::nullopt);
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
            poll(TLSCertificateConfig(QUuid::createUuid(), u"tls"_s, u"127.0.0.1"_s, silent.serverPort()), stop));
        QVERIFY(clock.elapsed() < 1000);
    }
};

QTEST_GUILESS_MAIN(TLSCertificateProviderTest)
#include "TLSCertificateProviderTest.moc"
