#include "app/ReleaseChecker.h"

#include "kit/base/ProviderError.h"
#include "support/Await.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

// Answers every request with one scripted reply, or fails as the transport would, and keeps what it
// was asked.
class ScriptedHTTPClient : public HTTPClient
{
public:
    int status = 200;
    QByteArray body;
    std::optional<QString> transportFailure;
    QList<HTTPRequest> requests;

    QCoro::Task<HTTPResult> data(HTTPRequest request, StopToken) override
    {
        requests.append(request);
        if (transportFailure)
            throw ProviderError::upstream(*transportFailure);
        HTTPResult result;
        result.body = body;
        result.response.statusCode = status;
        co_return result;
    }
};

QByteArray manifest(const QString &version, const QString &download = u"https://ostrel.dev/tidewatch.tar.gz"_s)
{
    return u"{\"version\":\"%1\",\"downloadURL\":\"%2\",\"notes\":\"ignored\"}"_s.arg(version, download).toUtf8();
}

const QUrl endpoint(u"https://ostrel.dev/downloads/tidewatch/latest.json"_s);

} // namespace

class ReleaseCheckerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versionsParseOnlyAsThreeWholeNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<qint64>>("parts"); // empty: refused
        QTest::newRow("plain") << u"1.2.3"_s << QList<qint64>{1, 2, 3};
        QTest::newRow("signed") << u"-1.+2.0"_s << QList<qint64>{-1, 2, 0};
        QTest::newRow("two parts") << u"1.2"_s << QList<qint64>{};
        QTest::newRow("four parts") << u"1.2.3.4"_s << QList<qint64>{};
        QTest::newRow("prefix") << u"v1.2.3"_s << QList<qint64>{};
        QTest::newRow("suffix") << u"1.2.3-beta"_s << QList<qint64>{};
        QTest::newRow("empty piece") << u"1..3"_s << QList<qint64>{};
        QTest::newRow("blank") << u"1.2. 3"_s << QList<qint64>{};
        QTest::newRow("hex") << u"1.2.0x3"_s << QList<qint64>{};
        QTest::newRow("sign alone") << u"1.2.-"_s << QList<qint64>{};
        QTest::newRow("overflow") << u"1.2.99999999999999999999"_s << QList<qint64>{};
    }
    void versionsParseOnlyAsThreeWholeNumbers()
    {
        QFETCH(QString, text);
        QFETCH(QList<qint64>, parts);
        const auto version = ReleaseChecker::parseVersion(text);
        if (parts.isEmpty()) {
            QVERIFY(!version);
        } else {
            QVERIFY(version);
            QCOMPARE((QList<qint64>{(*version)[0], (*version)[1], (*version)[2]}), parts);
        }
    }

    void checkReadsTheManifest_data()
    {
        QTest::addColumn<QString>("running");
        QTest::addColumn<QString>("released");
        QTest::addColumn<bool>("available");
        QTest::newRow("newer release") << u"1.9.9"_s << u"1.10.0"_s << true;
        QTest::newRow("same release") << u"1.2.3"_s << u"1.2.3"_s << false;
        QTest::newRow("older release is up to date") << u"2.0.0"_s << u"1.0.0"_s << false;
        QTest::newRow("older minor, larger patch") << u"1.2.0"_s << u"1.1.9"_s << false;
    }
    void checkReadsTheManifest()
    {
        auto client = std::make_shared<ScriptedHTTPClient>();
        client->body = manifest(TW_DATA(QString, released));
        const ReleaseChecker checker{endpoint, client};
        const ReleaseCheckResult result = test::await(checker.check(TW_DATA(QString, running)));
        QCOMPARE(result.kind,
                 TW_DATA(bool, available) ? ReleaseCheckResult::Kind::UpdateAvailable
                                          : ReleaseCheckResult::Kind::UpToDate);
        // The result names the manifest's version, never the running one.
        QCOMPARE(result.manifest.version, TW_DATA(QString, released));
        QCOMPARE(result.manifest.downloadURL, QUrl(u"https://ostrel.dev/tidewatch.tar.gz"_s));
        QCOMPARE(client->requests.size(), 1);
        QCOMPARE(client->requests[0].url, endpoint);
        QCOMPARE(client->requests[0].method, QByteArray("GET"));
    }

    void badRepliesFailWithOneText_data()
    {
        QTest::addColumn<QUrl>("endpoint");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("running");
        QTest::addColumn<QString>("text");
        const QString invalid = u"invalid update manifest"_s;
        QTest::newRow("http endpoint") << QUrl(u"http://ostrel.dev/downloads/tidewatch/latest.json"_s) << 200
                                       << manifest(u"9.0.0"_s) << u"1.0.0"_s << invalid;
        QTest::newRow("http download") << endpoint << 200 << manifest(u"9.0.0"_s, u"http://ostrel.dev/t.tar.gz"_s)
                                       << u"1.0.0"_s << invalid;
        QTest::newRow("download not a URL")
            << endpoint << 200 << manifest(u"9.0.0"_s, u"https://exa mple/%zz"_s) << u"1.0.0"_s << invalid;
        QTest::newRow("empty download") << endpoint << 200 << manifest(u"9.0.0"_s, QString()) << u"1.0.0"_s << invalid;
        QTest::newRow("not JSON") << endpoint << 200 << QByteArray("<html>") << u"1.0.0"_s << invalid;
        QTest::newRow("array") << endpoint << 200 << QByteArray("[]") << u"1.0.0"_s << invalid;
        QTest::newRow("version as a number")
            << endpoint << 200 << QByteArray("{\"version\":1,\"downloadURL\":\"https://x/y\"}") << u"1.0.0"_s
            << invalid;
        QTest::newRow("no download") << endpoint << 200 << QByteArray("{\"version\":\"1.0.0\"}") << u"1.0.0"_s
                                     << invalid;
        QTest::newRow("two-part remote") << endpoint << 200 << manifest(u"1.2"_s) << u"1.0.0"_s << invalid;
        QTest::newRow("two-part running") << endpoint << 200 << manifest(u"9.0.0"_s) << u"1.2"_s << invalid;
        QTest::newRow("not found") << endpoint << 404 << manifest(u"9.0.0"_s) << u"1.0.0"_s << u"HTTP 404"_s;
        QTest::newRow("redirect") << endpoint << 301 << QByteArray() << u"1.0.0"_s << u"HTTP 301"_s;
    }
    void badRepliesFailWithOneText()
    {
        auto client = std::make_shared<ScriptedHTTPClient>();
        client->status = TW_DATA(int, status);
        client->body = TW_DATA(QByteArray, body);
        const ReleaseChecker checker{TW_DATA(QUrl, endpoint), client};
        try {
            test::await(checker.check(TW_DATA(QString, running)));
            QFAIL("the check succeeded");
        } catch (const ProviderError &error) {
            QCOMPARE(error.kind(), ProviderError::Kind::Upstream);
            QCOMPARE(error.description(), TW_DATA(QString, text));
        }
        // Even a refused endpoint is asked: its reply is what gets refused.
        QCOMPARE(client->requests.size(), 1);
    }

    void transportFailurePassesThrough()
    {
        auto client = std::make_shared<ScriptedHTTPClient>();
        client->transportFailure = u"could not connect to server"_s;
        const ReleaseChecker checker{endpoint, client};
        try {
            test::await(checker.check(u"1.0.0"_s));
            QFAIL("the check succeeded");
        } catch (const ProviderError &error) {
            QCOMPARE(error.description(), u"could not connect to server"_s);
        }
    }
};

QTEST_GUILESS_MAIN(ReleaseCheckerTest)
#include "ReleaseCheckerTest.moc"
