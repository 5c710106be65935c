#include "kit/base/ProviderError.h"
#include "kit/monitor/InMemoryCredentialStore.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/providers/CheckedPort.h"
#include "kit/providers/HTTPPingProvider.h"
#include "kit/providers/TCPPortProvider.h"
#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QTcpServer>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

ProviderTransports local(qint64 maxBody = 8388608)
{
    return {std::make_shared<BoundedHTTPClient>(BoundedHTTPClient::Limits{maxBody, 2s, 5.0}),
            std::make_shared<TCPByteChannelFactory>(500ms)};
}

// The poll's one row, or the poll's failure text.
std::pair<std::optional<CheckResult>, QString> poll(const AnySourceConfig &config, const ProviderTransports &transports)
{
    try {
        auto provider = ProviderRegistry::make(config, std::make_shared<InMemoryCredentialStore>(), transports);
        const SourceSnapshot snapshot = await(provider->fetch(makeStopToken()));
        if (snapshot.widgets.size() != 1 || snapshot.sourceID != config.id())
            return {std::nullopt, u"unexpected snapshot"_s};
        return {std::get<CheckResult>(snapshot.widgets.first().payload), {}};
    } catch (const ProviderError &error) {
        return {std::nullopt, error.description()};
    }
}

quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

class PortAndPingProvidersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void checkedPort_data()
    {
        QTest::addColumn<qint64>("value");
        QTest::addColumn<QString>("failure");
        QTest::newRow("zero") << qint64(0) << u"port 0 out of range (1-65535)"_s;
        QTest::newRow("negative") << qint64(-1) << u"port -1 out of range (1-65535)"_s;
        QTest::newRow("too large") << qint64(65536) << u"port 65536 out of range (1-65535)"_s;
        QTest::newRow("lowest") << qint64(1) << QString();
        QTest::newRow("highest") << qint64(65535) << QString();
    }
    void checkedPort()
    {
        QFETCH(qint64, value);
        QFETCH(QString, failure);
        try {
            QCOMPARE(qint64(tw::checkedPort(value, u"port"_s)), value);
            QVERIFY(failure.isEmpty());
        } catch (const ProviderError &error) {
            QCOMPARE(error, ProviderError::misconfigured(failure));
        }
    }

    void tcpPort()
    {
        QTcpServer open;
        QVERIFY(open.listen(QHostAddress::LocalHost, 0));
        const TCPPortConfig up(QUuid::createUuid(), u"ssh"_s, u"127.0.0.1"_s, open.serverPort());
        const auto [upRow, upFailure] = poll(up, local());
        QVERIFY2(upRow, qPrintable(upFailure));
        QCOMPARE(upRow->status, ServiceStatus::Up);
        QVERIFY(upRow->latencyMs && *upRow->latencyMs >= 0);
        QCOMPARE(upRow->detail, std::nullopt);
        QCOMPARE(upRow->id, up.id.toString(QUuid::WithoutBraces).toUpper());
        QCOMPARE(upRow->name, u"ssh"_s);

        const TCPPortConfig closed(QUuid::createUuid(), u"ssh"_s, u"127.0.0.1"_s, closedPort());
        const auto [downRow, downFailure] = poll(closed, local());
        QVERIFY(downRow);
        QCOMPARE(downRow->status, ServiceStatus::Down);
        QCOMPARE(downRow->detail, u"closed"_s);
        QCOMPARE(downRow->latencyMs, std::nullopt);

        const TCPPortConfig unresolved(QUuid::createUuid(), u"ssh"_s, u"no-such-host.invalid"_s, 22);
        QCOMPARE(poll(unresolved, local()).first->detail, u"closed"_s);

        const TCPPortConfig zero(QUuid::createUuid(), u"ssh"_s, u"127.0.0.1"_s, 0);
        QCOMPARE(poll(zero, local()).second, u"port 0 out of range (1-65535)"_s);
    }

    void httpPing_data()
    {
        QTest::addColumn<int>("served");
        QTest::addColumn<int>("expected");
        QTest::addColumn<qint64>("bodySize");
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<bool>("latency");
        QTest::newRow("as expected") << 200 << 200 << qint64(10) << qint64(8388608) << u"up"_s << QString() << true;
        QTest::newRow("no class of codes")
            << 204 << 200 << qint64(0) << qint64(8388608) << u"down"_s << u"HTTP 204"_s << true;
        QTest::newRow("503 keeps its latency")
            << 503 << 200 << qint64(10) << qint64(8388608) << u"down"_s << u"HTTP 503"_s << true;
        QTest::newRow("500 expected") << 500 << 500 << qint64(10) << qint64(8388608) << u"up"_s << QString() << true;
        QTest::newRow("redirect not followed")
            << 301 << 301 << qint64(0) << qint64(8388608) << u"up"_s << QString() << true;
        QTest::newRow("body too large") << 200 << 200 << qint64(2000) << qint64(1000) << u"down"_s
                                        << u"response exceeded 1000-byte limit"_s << false;
    }
    void httpPing()
    {
        QFETCH(int, served);
        QFETCH(int, expected);
        LocalHttpServer server;
        server.route("/health",
                     {.status = served,
                      .headers = {{"Location", "http://127.0.0.1:1/elsewhere"}},
                      .bodySize = TW_DATA(qint64, bodySize)});
        HTTPPingConfig config(QUuid::createUuid(), u"web"_s, server.url(u"/health"_s));
        config.expectedStatus = expected;
        const auto [row, failure] = poll(config, local(TW_DATA(qint64, limit)));
        QVERIFY2(row, qPrintable(failure));
        QCOMPARE(toText(row->status), TW_DATA(QString, status));
        QCOMPARE(row->detail.value_or(QString()), TW_DATA(QString, detail));
        QCOMPARE(row->latencyMs.has_value(), TW_DATA(bool, latency));
        QCOMPARE(server.requests().size(), 1);
    }

    void httpPingFailures_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("failure"); // of the poll
        QTest::addColumn<QString>("detail"); // of a down row
        QTest::newRow("empty") << QString() << u"bad URL: "_s << QString();
        QTest::newRow("no scheme") << u"grafana.lan"_s << u"bad URL: grafana.lan"_s << QString();
        QTest::newRow("refused") << u"http://127.0.0.1:%1/"_s.arg(closedPort()) << QString() << u"connection refused"_s;
    }
    void httpPingFailures()
    {
        const HTTPPingConfig config(QUuid::createUuid(), u"web"_s, TW_DATA(QString, url));
        const auto [row, failure] = poll(config, local());
        QCOMPARE(failure, TW_DATA(QString, failure));
        if (row) {
            QCOMPARE(row->status, ServiceStatus::Down);
            QCOMPARE(row->detail, TW_DATA(QString, detail));
        }
    }

    void wrongKindIsRefused()
    {
        const HTTPPingConfig ping(QUuid::createUuid(), u"web"_s, u"http://x"_s);
        const TCPPortConfig port(QUuid::createUuid(), u"ssh"_s, u"x"_s, 22);
        try {
            TCPPortProvider provider(ping, local());
            QFAIL("a ping configuration made a port provider");
        } catch (const ProviderError &error) {
            QCOMPARE(error.description(), u"expected tcpPort config"_s);
        }
        try {
            HTTPPingProvider provider(port, local());
            QFAIL("a port configuration made a ping provider");
        } catch (const ProviderError &error) {
            QCOMPARE(error.description(), u"expected httpPing config"_s);
        }
        QCOMPARE(ProviderError::missingCredential(u"password"_s).description(), u"missing credential: password"_s);
    }
};

QTEST_GUILESS_MAIN(PortAndPingProvidersTest)
#include "PortAndPingProvidersTest.moc"
