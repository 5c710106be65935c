#include "kit/transport/BoundedHTTPClient.h"

#include "kit/monitor/ProviderError.h"
#include "support/Await.h"
#include "support/LocalHttpServer.h"
#include "support/TestData.h"

#include <QCoroTask>
#include <QElapsedTimer>
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
};

QTEST_GUILESS_MAIN(BoundedHTTPClientTest)
#include "BoundedHTTPClientTest.moc"
