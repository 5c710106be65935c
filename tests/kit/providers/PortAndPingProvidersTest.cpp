#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
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

// "up 12ms", "down closed", or "fails: why" when the poll itself fails; a latency reads as "ms".
QString poll(const AnySourceConfig &config, const ProviderTransports &transports = local())
{
    try {
        auto provider = ProviderRegistry::make(config, std::make_shared<InMemoryCredentialStore>(), transports);
        const SourceSnapshot snapshot = await(provider->fetch(makeStopToken()));
        if (snapshot.widgets.size() != 1 || snapshot.sourceID != config.id())
            return u"unexpected snapshot"_s;
        const auto row = std::get<CheckResult>(snapshot.widgets.first().payload);
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

    void tcpPort_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port"); // -1: a port that listens
        QTest::addColumn<QString>("row");
        QTest::newRow("open") << u"127.0.0.1"_s << -1 << u"up ms"_s;
        QTest::newRow("closed") << u"127.0.0.1"_s << int(closedPort()) << u"down closed"_s;
        QTest::newRow("unresolvable") << u"no-such-host.invalid"_s << 22 << u"down closed"_s;
        QTest::newRow("port 0") << u"127.0.0.1"_s << 0 << u"fails: port 0 out of range (1-65535)"_s;
    }
    void tcpPort()
    {
        QTcpServer open;
        QVERIFY(open.listen(QHostAddress::LocalHost, 0));
        const int port = TW_DATA(int, port) < 0 ? open.serverPort() : TW_DATA(int, port);
        QCOMPARE(poll(TCPPortConfig(QUuid::createUuid(), u"ssh"_s, TW_DATA(QString, host), port)),
                 TW_DATA(QString, row));
    }

    void httpPing_data()
    {
        QTest::addColumn<int>("served");
        QTest::addColumn<int>("expected");
        QTest::addColumn<qint64>("bodySize");
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<QString>("row");
        const qint64 big = 8388608;
        QTest::newRow("as expected") << 200 << 200 << qint64(10) << big << u"up ms"_s;
        QTest::newRow("no class of codes") << 204 << 200 << qint64(0) << big << u"down ms HTTP 204"_s;
        QTest::newRow("503 keeps its latency") << 503 << 200 << qint64(10) << big << u"down ms HTTP 503"_s;
        QTest::newRow("500 expected") << 500 << 500 << qint64(10) << big << u"up ms"_s;
        QTest::newRow("redirect not followed") << 301 << 301 << qint64(0) << big << u"up ms"_s;
        QTest::newRow("body too large") << 200 << 200 << qint64(2000) << qint64(1000)
                                        << u"down response exceeded 1000-byte limit"_s;
    }
    void httpPing()
    {
        LocalHttpServer server;
        server.route("/health",
                     {.status = TW_DATA(int, served),
                      .headers = {{"Location", "http://127.0.0.1:1/elsewhere"}},
                      .bodySize = TW_DATA(qint64, bodySize)});
        HTTPPingConfig config(QUuid::createUuid(), u"web"_s, server.url(u"/health"_s));
        config.expectedStatus = TW_DATA(int, expected);
        QCOMPARE(poll(config, local(TW_DATA(qint64, limit))), TW_DATA(QString, row));
        QCOMPARE(server.requests().size(), 1);
    }

    void httpPingFailures_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("row");
        QTest::newRow("empty") << QString() << u"fails: bad URL: "_s;
        QTest::newRow("no scheme") << u"grafana.lan"_s << u"fails: bad URL: grafana.lan"_s;
        QTest::newRow("refused") << u"http://127.0.0.1:%1/"_s.arg(closedPort()) << u"down connection refused"_s;
    }
    void httpPingFailures()
    {
        QCOMPARE(poll(HTTPPingConfig(QUuid::createUuid(), u"web"_s, TW_DATA(QString, url))), TW_DATA(QString, row));
    }

    void wrongKindIsRefused()
    {
        const HTTPPingConfig ping(QUuid::createUuid(), u"web"_s, u"http://x"_s);
        const TCPPortConfig port(QUuid::createUuid(), u"ssh"_s, u"x"_s, 22);
        QVERIFY_THROWS_EXCEPTION(ProviderError, TCPPortProvider(ping, local()));
        QVERIFY_THROWS_EXCEPTION(ProviderError, HTTPPingProvider(port, local()));
    }
};

QTEST_GUILESS_MAIN(PortAndPingProvidersTest)
#include "PortAndPingProvidersTest.moc"
