#include "kit/transport/BoundedHTTPClient.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/transport/HTTPReplyParser.h"
#include "support/Await.h"
#include "support/LocalHttpServer.h"
#include "support/LocalTlsServer.h"
#include "support/ModelCases.h"
#include "support/TestData.h"
#include "support/TransportPeers.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QProcess>
#include <QRegularExpression>
#include <QSslConfiguration>
#include <QTest>
#include <QTextStream>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// A certificate for 127.0.0.1 (and a name only a proxy can reach) that this process trusts, as a
// user's own CA would be.
TestCertificate trustedLoopbackCertificate()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const TestCertificate made =
        TestCertificate::make({u"IP:127.0.0.1"_s, u"DNS:tidewatch.invalid"_s}, now.addDays(-1), now.addDays(30));
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificate(made.certificate);
    QSslConfiguration::setDefaultConfiguration(configuration);
    return made;
}

// Run as a process of its own (see main): https straight and through a proxy, then the ordinary
// end of the program, whose teardown is what once printed Qt's warning.
int httpsThenExit(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const TestCertificate certificate = trustedLoopbackCertificate();
    LocalHttpServer server(certificate);
    server.route("/", {.body = "over tls"});
    LocalHttpServer proxy;
    proxy.tunnelTo(server.port());
    BoundedHTTPClient client;
    const QString straight = fetchText(client, server.url(u"/"_s));
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port()));
    const QString proxied = fetchText(client, u"https://tidewatch.invalid:%1/"_s.arg(server.port()));
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QTextStream(stdout) << straight << ", " << proxied << ", " << proxy.requests().size() << Qt::endl;
    return 0;
}

// Feeds the reply in pieces of `step` bytes (0: all at once), then closes when `close` says so:
// "complete 200 body", "waiting 200 part", or the failure's text.
QString parse(const QByteArray &wire, qsizetype step, bool head, bool close)
{
    HTTPReplyParser parser(head, 64);
    bool complete = false;
    try {
        const qsizetype piece = step > 0 ? step : std::max<qsizetype>(wire.size(), 1);
        for (qsizetype at = 0; at < wire.size() && !complete; at += piece)
            complete = parser.feed(QByteArrayView(wire).sliced(at, std::min(piece, wire.size() - at)));
        if (!complete && close)
            complete = parser.closed();
    } catch (const ProviderError &error) {
        return error.description();
    }
    return u"%1 %2 %3"_s.arg(complete ? u"complete"_s : u"waiting"_s)
        .arg(parser.response().statusCode)
        .arg(QString::fromUtf8(parser.takeBody()));
}

} // namespace

Q_DECLARE_METATYPE(LocalHttpServer::Reply)
Q_DECLARE_METATYPE(BoundedHTTPClient::Limits)

class BoundedHTTPClientTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_certificate = trustedLoopbackCertificate(); }

    // A server's faults read the same over http and https: the same bounds, the same texts.
    void sameBoundsAndTextsWithAndWithoutTLS_data()
    {
        QTest::addColumn<LocalHttpServer::Reply>("reply");
        QTest::addColumn<BoundedHTTPClient::Limits>("limits");
        QTest::addColumn<QString>("outcome"); // "200 body" or the failure
        QTest::addColumn<int>("atLeastMs");
        const BoundedHTTPClient::Limits usual{8388608, 10s, 20.0};
        const BoundedHTTPClient::Limits short_{8388608, 150ms, 0.5};
        for (const bool tls : {false, true}) {
            const char *scheme = tls ? "https" : "http";
            // A byte every 50 ms keeps the 150 ms gap alive, headers included; the deadline ends it.
            QTest::addRow("%s: a trickled head is cut at the deadline", scheme)
                << LocalHttpServer::Reply{.body = "late", .trickleMs = 50, .trickleHead = true} << short_
                << u"request exceeded its 0.5s deadline"_s << 450;
            QTest::addRow("%s: silence", scheme)
                << LocalHttpServer::Reply{.silent = true} << BoundedHTTPClient::Limits{8388608, 150ms, 5.0}
                << u"timed out"_s << 140;
            QTest::addRow("%s: a body until the close", scheme)
                << LocalHttpServer::Reply{.body = "all of it", .noLength = true} << usual << u"200 all of it"_s << 0;
            QTest::addRow("%s: a body until a reset", scheme)
                << LocalHttpServer::Reply{.body = "part of it", .noLength = true, .resetAtEnd = true} << usual
                << u"host unreachable"_s << 0;
            QTest::addRow("%s: a reset mid-body is no short body", scheme)
                << LocalHttpServer::Reply{.resetAfter = 1000} << usual << u"host unreachable"_s << 0;
            QTest::addRow("%s: a body of exactly the limit", scheme)
                << LocalHttpServer::Reply{.bodySize = 1000} << BoundedHTTPClient::Limits{1000, 10s, 20.0}
                << u"200 "_s + QString(1000, u'x') << 0;
            QTest::addRow("%s: a body over the limit", scheme)
                << LocalHttpServer::Reply{.bodySize = 1001} << BoundedHTTPClient::Limits{1000, 10s, 20.0}
                << u"response exceeded 1000-byte limit"_s << 0;
            // A redirect followed would read the 404 of the path it names.
            QTest::addRow("%s: a redirect is returned, not followed", scheme)
                << LocalHttpServer::Reply{.status = 301, .headers = {{"Location", "/moved"}}} << usual << u"301 "_s
                << 0;
            QTest::addRow("%s: an error status is the caller's to judge", scheme)
                << LocalHttpServer::Reply{.status = 503, .body = "maintenance"} << usual << u"503 maintenance"_s << 0;
        }
    }
    void sameBoundsAndTextsWithAndWithoutTLS()
    {
        QTest::failOnWarning(QRegularExpression(u"."_s));
        const bool tls = QByteArray(QTest::currentDataTag()).startsWith("https");
        std::optional<LocalHttpServer> server;
        if (tls)
            server.emplace(m_certificate);
        else
            server.emplace();
        server->route("/", TW_DATA(LocalHttpServer::Reply, reply));
        BoundedHTTPClient client(TW_DATA(BoundedHTTPClient::Limits, limits));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(fetchText(client, server->url(u"/"_s)), TW_DATA(QString, outcome));
        QVERIFY(clock.elapsed() >= TW_DATA(int, atLeastMs));
        QVERIFY(clock.elapsed() < 3000);
    }

    void anUntrustedCertificateFailsTheHandshake()
    {
        const QDateTime now = QDateTime::currentDateTimeUtc();
        LocalHttpServer server(TestCertificate::make({u"IP:127.0.0.1"_s}, now.addDays(-1), now.addDays(30)));
        server.route("/", {.body = "never read"});
        BoundedHTTPClient client;
        QCOMPARE(fetchText(client, server.url(u"/"_s)),
                 u"SSL handshake failed: The certificate is self-signed, and untrusted"_s);
        QVERIFY(server.requests().isEmpty());
    }

    // The network manager that carries proxied requests is gone before the application object, so
    // that closing its kept https connection prints nothing at the end of the program.
    void httpsLeavesNoWarningAtExit()
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TW_HTTPS_THEN_EXIT"_s, u"1"_s);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {});
        QVERIFY(child.waitForFinished(20000));
        const QByteArray errors = child.readAllStandardError();
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(child.readAllStandardOutput().trimmed(), QByteArray("200 over tls, 200 over tls, 1"));
        QVERIFY2(errors.trimmed().isEmpty(), errors.constData());
    }

    // A whole number of seconds keeps its point; a fraction is read in the table above.
    void deadlineText() { QCOMPARE(BoundedHTTPClient::deadlineText(20.0), u"request exceeded its 20.0s deadline"_s); }

    // Plain http goes out from this thread as written here; a proxy the platform names still
    // carries it, through Qt's network manager.
    void plainHttpIsSpokenDirectlyUnlessAProxyCarriesIt()
    {
        LocalHttpServer server;
        server.fallback([](const LocalHttpServer::Request &request) {
            return LocalHttpServer::Reply{.status = 201, .body = request.method + ' ' + request.body};
        });
        BoundedHTTPClient client;
        const HTTPRequest post{QUrl(server.url(u"/api/v1?q=a%20b"_s)), "POST", {{"X-Token", "t0k"}}, "{\"n\":1}"};
        const HTTPResult result = tw::test::await(client.data(post, makeStopToken()));
        QCOMPARE(result.response.statusCode, 201);
        QCOMPARE(result.body, QByteArray("POST {\"n\":1}"));
        const QByteArray head = server.requests().last().head;
        QVERIFY2(head.startsWith("POST /api/v1?q=a%20b HTTP/1.1\r\n"), head.constData());
        QVERIFY(head.contains(QByteArray("\r\nHost: 127.0.0.1:" + QByteArray::number(server.port()) + "\r\n")));
        QVERIFY(head.contains("\r\nX-Token: t0k\r\n"));

        LocalHttpServer proxy;
        proxy.fallback([](const LocalHttpServer::Request &) {
            return LocalHttpServer::Reply{.headers = {{"Set-Cookie", "session=abc; Path=/"}}, .body = "via proxy"};
        });
        QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port()));
        const auto restore = qScopeGuard([] { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); });
        QCOMPARE(fetchText(client, u"http://nas.invalid/status"_s), u"200 via proxy"_s);
        QVERIFY(proxy.requests().last().head.startsWith("GET http://nas.invalid/status HTTP/1.1"));
        // Qt's network manager keeps cookies unless told not to; a session cookie must not ride along.
        fetchText(client, u"http://nas.invalid/status"_s);
        QCOMPARE(proxy.requests().size(), 2);
        QVERIFY(!proxy.requests().last().head.toLower().contains("cookie"));
    }

    // Ten checks of one slow server at once: six connections, the rest waiting their turn, all
    // answered; a stopped waiter leaves the queue without taking a turn.
    void sixAtATimeWithOneHost()
    {
        LocalHttpServer server;
        server.route("/slow", {.body = "abcd", .trickleMs = 15});
        BoundedHTTPClient client;
        std::vector<QCoro::Task<HTTPResult>> tasks;
        for (int i = 0; i < 10; ++i)
            tasks.push_back(client.data({QUrl(server.url(u"/slow"_s)), "GET", {}, {}}, makeStopToken()));
        const StopToken stopped = makeStopToken();
        auto cancelled = client.data({QUrl(server.url(u"/slow"_s)), "GET", {}, {}}, stopped);
        QTest::qWait(40);
        QCOMPARE(server.requests().size(), 6);
        stopped->requestStop();
        QVERIFY_THROWS_EXCEPTION(Cancelled, tw::test::await(std::move(cancelled)));
        for (auto &task : tasks)
            QCOMPARE(tw::test::await(std::move(task)).body, QByteArray("abcd"));
        QCOMPARE(server.requests().size(), 10);
    }

    // Replies as servers send them, and broken, in one piece and a byte at a time: a reply split
    // anywhere must read the same.
    void parserReplies_data() { addCaseRows(u"transport/http-replies.json"_s); }
    void parserReplies()
    {
        QFETCH(QJsonObject, given);
        const QString expected = given.contains(u"failure")
            ? given[u"failure"].toString()
            : u"%1 %2 %3"_s.arg(given[u"complete"].toBool() ? u"complete"_s : u"waiting"_s)
                  .arg(given[u"status"].toInt())
                  .arg(given[u"body"].toString());
        for (const qsizetype step : {qsizetype(0), qsizetype(1), qsizetype(7)}) {
            const QByteArray wire = given[u"wire"].toString().toUtf8();
            QCOMPARE(parse(wire, step, given[u"head"].toBool(), given[u"close"].toBool()), expected);
        }
    }

    void parserStopsEndlessHeadersAtTheirLimit()
    {
        QByteArray wire = "HTTP/1.1 200 OK\r\n";
        while (wire.size() <= HTTPReplyParser::maxHeadBytes)
            wire += "X-Filler: 0123456789abcdef\r\n";
        QCOMPARE(parse(wire, 4096, false, false), u"response headers exceeded 65536 bytes"_s);
    }

private:
    TestCertificate m_certificate;
};

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet("TW_HTTPS_THEN_EXIT"))
        return httpsThenExit(argc, argv);
    QCoreApplication application(argc, argv);
    BoundedHTTPClientTest test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "BoundedHTTPClientTest.moc"
