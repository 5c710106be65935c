#include "kit/transport/HTTPReplyParser.h"

#include "kit/base/ProviderError.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

struct Parsed
{
    bool complete = false;
    int status = 0;
    QByteArray body;
    QString failure;
};

// Feeds the reply in pieces of `step` bytes (0: all at once), then closes when `close` says so.
Parsed parse(const QByteArray &wire, qsizetype step, bool head, bool close, qint64 limit = 64)
{
    Parsed parsed;
    HTTPReplyParser parser(head, limit);
    try {
        const qsizetype piece = step > 0 ? step : std::max<qsizetype>(wire.size(), 1);
        for (qsizetype at = 0; at < wire.size() && !parsed.complete; at += piece)
            parsed.complete = parser.feed(QByteArrayView(wire).sliced(at, std::min(piece, wire.size() - at)));
        if (!parsed.complete && close)
            parsed.complete = parser.closed();
    } catch (const ProviderError &error) {
        parsed.failure = error.description();
        return parsed;
    }
    parsed.status = parser.response().statusCode;
    parsed.body = parser.takeBody();
    return parsed;
}

} // namespace

// Replies as servers send them, and broken, in one piece and a byte at a time: a reply split
// anywhere must read the same.
class HTTPReplyParserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replies_data()
    {
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<bool>("head");
        QTest::addColumn<bool>("close"); // the peer closes after the bytes
        QTest::addColumn<bool>("complete");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("failure");

        const QString broken = u"not a valid HTTP reply"_s;
        const QString limit = u"response exceeded 64-byte limit"_s;
        QTest::newRow("length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello trailing") << false
                                << false << true << 200 << QByteArray("hello") << QString();
        QTest::newRow("chunked, extension, trailer")
            << QByteArray(
                   "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;x=y\r\nhello\r\n1\r\n!\r\n0\r\nX: 1\r\n\r\n")
            << false << false << true << 200 << QByteArray("hello!") << QString();
        QTest::newRow("interim 100 first")
            << QByteArray("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 503 Busy\r\nContent-Length: 2\r\n\r\nno") << false
            << false << true << 503 << QByteArray("no") << QString();
        QTest::newRow("HEAD announces a length it never sends")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n") << true << false << true << 200
            << QByteArray() << QString();
        QTest::newRow("204 has no body") << QByteArray("HTTP/1.1 204 No Content\r\n\r\n") << false << false << true
                                         << 204 << QByteArray() << QString();
        QTest::newRow("to the close") << QByteArray("HTTP/1.0 200 OK\nServer: old\n\nall of it") << false << true
                                      << true << 200 << QByteArray("all of it") << QString();
        QTest::newRow("to the close, still open") << QByteArray("HTTP/1.0 200 OK\r\n\r\npart") << false << false
                                                  << false << 200 << QByteArray("part") << QString();
        QTest::newRow("cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf") << false << true
                                   << false << 200 << QByteArray("half") << QString();
        QTest::newRow("exactly the limit") << QByteArray("HTTP/1.1 200 OK\r\n\r\n" + QByteArray(64, 'x')) << false
                                           << true << true << 200 << QByteArray(64, 'x') << QString();
        QTest::newRow("one past the limit, streaming") << QByteArray("HTTP/1.1 200 OK\r\n\r\n" + QByteArray(65, 'x'))
                                                       << false << true << false << 0 << QByteArray() << limit;
        QTest::newRow("announced past the limit") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 65\r\n\r\n")
                                                  << false << false << false << 0 << QByteArray() << limit;
        QTest::newRow("chunks past the limit") << QByteArray(
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n40\r\n" + QByteArray(64, 'x') + "\r\n1\r\n")
                                               << false << false << false << 0 << QByteArray() << limit;
        QTest::newRow("not HTTP") << QByteArray("SSH-2.0-OpenSSH_9.2\r\n") << false << true << false << 0
                                  << QByteArray() << broken;
        QTest::newRow("four-digit status")
            << QByteArray("HTTP/1.1 2000 OK\r\n\r\n") << false << false << false << 0 << QByteArray() << broken;
        QTest::newRow("header without a colon") << QByteArray("HTTP/1.1 200 OK\r\nnonsense\r\n\r\n") << false << false
                                                << false << 0 << QByteArray() << broken;
        QTest::newRow("chunk size not hex") << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n")
                                            << false << false << false << 0 << QByteArray() << broken;
        QTest::newRow("chunk without its CRLF")
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabXY\r\n") << false << false
            << false << 0 << QByteArray() << broken;
        QTest::newRow("chunk line past its bound") << QByteArray(
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;" + QByteArray(1100, 'x') + "\r\nhello")
                                                   << false << false << false << 0 << QByteArray() << broken;
        QTest::newRow("negative length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n") << false
                                         << false << false << 0 << QByteArray() << broken;
    }
    void replies()
    {
        QFETCH(QByteArray, wire);
        QFETCH(bool, head);
        QFETCH(bool, close);
        for (const qsizetype step : {qsizetype(0), qsizetype(1), qsizetype(7)}) {
            const Parsed parsed = parse(wire, step, head, close);
            QCOMPARE(parsed.failure, TW_DATA(QString, failure));
            QCOMPARE(parsed.complete, TW_DATA(bool, complete));
            if (parsed.failure.isEmpty()) {
                QCOMPARE(parsed.status, TW_DATA(int, status));
                QCOMPARE(parsed.body, TW_DATA(QByteArray, body));
            }
        }
    }

    void endlessHeadersStopAtTheirLimit()
    {
        QByteArray wire = "HTTP/1.1 200 OK\r\n";
        while (wire.size() <= HTTPReplyParser::maxHeadBytes)
            wire += "X-Filler: 0123456789abcdef\r\n";
        QCOMPARE(parse(wire, 4096, false, false).failure, u"response headers exceeded 65536 bytes"_s);
    }
};

QTEST_GUILESS_MAIN(HTTPReplyParserTest)
#include "HTTPReplyParserTest.moc"
