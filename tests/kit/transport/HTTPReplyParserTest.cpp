#include "kit/transport/HTTPReplyParser.h"

#include "kit/base/ProviderError.h"
#include "support/ModelCases.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
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
    void replies_data() { addCaseRows(u"transport/http-replies.json"_s); }
    void replies()
    {
        QFETCH(QJsonObject, given);
        const QByteArray wire = given[u"wire"].toString().toUtf8();
        for (const qsizetype step : {qsizetype(0), qsizetype(1), qsizetype(7)}) {
            const Parsed parsed = parse(wire, step, given[u"head"].toBool(), given[u"close"].toBool());
            QCOMPARE(parsed.failure, given[u"failure"].toString());
            QCOMPARE(parsed.complete, given[u"complete"].toBool());
            if (parsed.failure.isEmpty()) {
                QCOMPARE(parsed.status, given[u"status"].toInt());
                QCOMPARE(parsed.body, given[u"body"].toString().toUtf8());
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
