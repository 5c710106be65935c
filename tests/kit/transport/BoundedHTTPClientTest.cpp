#include "kit/transport/BoundedHTTPClient.h"

#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "support/Await.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Outcome
{
    std::optional<HTTPResult> result;
    QString failure;
};

Outcome fetch(HTTPClient &client, const QString &url)
{
    Outcome outcome;
    try {
        const HTTPRequest request{QUrl(url), "GET", {}, {}};
        outcome.result = tw::test::await(client.data(request, makeStopToken()));
    } catch (const ProviderError &error) {
        outcome.failure = error.description();
    }
    return outcome;
}

} // namespace

class BoundedHTTPClientTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bodyLimitCountsWhileStreaming_data()
    {
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("failure");
        QTest::newRow("empty") << qint64(8388608) << qint64(0) << QString();
        QTest::newRow("exactly the default limit") << qint64(8388608) << qint64(8388608) << QString();
        QTest::newRow("one byte over the default")
            << qint64(8388608) << qint64(8388609) << u"response exceeded 8388608-byte limit"_s;
        QTest::newRow("small limit") << qint64(1000) << qint64(1000) << QString();
        QTest::newRow("far over a small limit")
            << qint64(1000) << qint64(5'000'000) << u"response exceeded 1000-byte limit"_s;
    }
    void bodyLimitCountsWhileStreaming()
    {
        QFETCH(qint64, size);
        LocalHttpServer server;
        server.route("/body", {.bodySize = size});
        BoundedHTTPClient client({TW_DATA(qint64, limit), 10s, 20.0});
        const Outcome outcome = fetch(client, server.url(u"/body"_s));
        QCOMPARE(outcome.failure, TW_DATA(QString, failure));
        if (outcome.failure.isEmpty())
            QCOMPARE(outcome.result->body.size(), size);
    }

    void trickleIsStoppedAtTheDeadline()
    {
        // A byte every 50 ms keeps the 150 ms gap alive; the 0.5 s deadline ends it.
        LocalHttpServer server;
        server.route("/slow", {.body = QByteArray(100, 'x'), .trickleMs = 50});
        BoundedHTTPClient client({8388608, 150ms, 0.5});
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(fetch(client, server.url(u"/slow"_s)).failure, u"request exceeded its 0.5s deadline"_s);
        QVERIFY(clock.elapsed() >= 450 && clock.elapsed() < 3000);
    }

    void silenceIsATimeout()
    {
        LocalHttpServer server;
        server.route("/silent", {.silent = true});
        BoundedHTTPClient client({8388608, 150ms, 5.0});
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(fetch(client, server.url(u"/silent"_s)).failure, u"timed out"_s);
        QVERIFY(clock.elapsed() < 2000);
    }

    void redirectIsReturnedNotFollowed()
    {
        LocalHttpServer server;
        server.route("/old", {.status = 301, .headers = {{"Location", server.url(u"/new"_s).toLatin1()}}});
        server.route("/new", {.status = 200, .body = "moved"});
        BoundedHTTPClient client;
        const Outcome outcome = fetch(client, server.url(u"/old"_s));
        QVERIFY(outcome.result);
        QCOMPARE(outcome.result->response.statusCode, 301);
        QTest::qWait(50);
        QCOMPARE(server.requests().size(), 1);
    }

    void cookiesAreNeverKept()
    {
        LocalHttpServer server;
        server.route("/login", {.headers = {{"Set-Cookie", "session=abc; Path=/"}}});
        server.route("/next", {});
        BoundedHTTPClient client;
        fetch(client, server.url(u"/login"_s));
        fetch(client, server.url(u"/next"_s));
        QCOMPARE(server.requests().size(), 2);
        QVERIFY(!server.requests().last().head.toLower().contains("cookie"));
    }

    void statusesAreTheCallersToJudge()
    {
        LocalHttpServer server;
        server.route("/down", {.status = 503, .body = "maintenance"});
        BoundedHTTPClient client;
        const Outcome outcome = fetch(client, server.url(u"/down"_s));
        QVERIFY(outcome.result);
        QCOMPARE(outcome.result->response.statusCode, 503);
        QCOMPARE(outcome.result->body, QByteArray("maintenance"));
        try {
            requireHTTPSuccess(outcome.result->response);
            QFAIL("a 503 passed");
        } catch (const ProviderError &error) {
            QCOMPARE(error.description(), u"HTTP 503"_s);
        }
    }

    void deadlineText_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("whole") << 20.0 << u"request exceeded its 20.0s deadline"_s;
        QTest::newRow("fraction") << 0.25 << u"request exceeded its 0.25s deadline"_s;
        QTest::newRow("shortest form") << 0.1 << u"request exceeded its 0.1s deadline"_s;
    }
    void deadlineText()
    {
        QFETCH(double, seconds);
        QCOMPARE(BoundedHTTPClient::deadlineText(seconds), TW_DATA(QString, text));
    }

    // Plain http goes out from this thread as written here; a proxy the platform names still
    // carries it, through Qt's network manager.
    void plainHttpIsSpokenDirectlyUnlessAProxyCarriesIt()
    {
        LocalHttpServer server;
        server.fallback([](const LocalHttpServer::Request &request) {
            return LocalHttpServer::Reply{.status = 201, .body = request.method + ' ' + request.body};
        });
        QVERIFY(BoundedHTTPClient::speaksDirectly(QUrl(server.url(u"/x"_s))));
        QVERIFY(!BoundedHTTPClient::speaksDirectly(QUrl(u"https://127.0.0.1/"_s)));
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
        proxy.fallback([](const LocalHttpServer::Request &) { return LocalHttpServer::Reply{.body = "via proxy"}; });
        QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port()));
        const auto restore = qScopeGuard([] { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); });
        QVERIFY(!BoundedHTTPClient::speaksDirectly(QUrl(u"http://nas.invalid/status"_s)));
        const Outcome viaProxy = fetch(client, u"http://nas.invalid/status"_s);
        QVERIFY2(viaProxy.result, qPrintable(viaProxy.failure));
        QCOMPARE(viaProxy.result->body, QByteArray("via proxy"));
        QVERIFY(proxy.requests().last().head.startsWith("GET http://nas.invalid/status HTTP/1.1"));
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
};

QTEST_GUILESS_MAIN(BoundedHTTPClientTest)
#include "BoundedHTTPClientTest.moc"
