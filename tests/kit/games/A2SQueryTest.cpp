#include "kit/games/A2SQuery.h"

#include "kit/base/ProviderError.h"
#include "kit/games/A2SReplyError.h"
#include "kit/games/A2SWire.h"
#include "support/A2SResponder.h"
#include "support/Await.h"
#include "support/GamesFacts.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Challenge = A2SResponder::Challenge;

// How the responder behaves for one row.
struct Script
{
    Challenge challenge = Challenge::None;
    A2SResponder::Info info;
    QList<A2SResponder::Player> players{{"Alex"}, {"Noor"}};
    std::optional<QByteArray> rawInfo;
    A2SResponder::Split infoSplit;
    bool silentPlayers = false;
    bool portClosed = false;
    A2SQuery::Limits limits{200ms, 10s};
    bool queriesPlayers = true;
    bool countsInKeywords = false;
};

// Counts the sessions closed, to show that every way out of a query closes its own.
class ClosingCounter : public UDPTransport
{
public:
    QCoro::Task<std::unique_ptr<UDPSession>>
    open(QString host, quint16 port, std::chrono::milliseconds timeout, StopToken stop) override
    {
        ++opened;
        std::unique_ptr<UDPSession> inner = co_await m_real.open(host, port, timeout, stop);
        co_return std::make_unique<Counted>(std::move(inner), closed);
    }
    int opened = 0;
    std::shared_ptr<int> closed = std::make_shared<int>(0);

private:
    class Counted : public UDPSession
    {
    public:
        Counted(std::unique_ptr<UDPSession> inner, std::shared_ptr<int> closed)
            : m_inner(std::move(inner))
            , m_closed(std::move(closed))
        { }
        QCoro::Task<> send(QByteArray datagram) override { return m_inner->send(datagram); }
        QCoro::Task<QByteArray> receive() override { return m_inner->receive(); }
        void close() override
        {
            ++*m_closed;
            m_inner->close();
        }

    private:
        std::unique_ptr<UDPSession> m_inner;
        std::shared_ptr<int> m_closed;
    };
    SocketUDPTransport m_real;
};

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

QByteArray text(const QByteArray &bytes)
{
    return bytes + QByteArray(1, '\0');
}

// An info reply up to and including the VAC byte, then whatever follows.
QByteArray info(const QByteArray &name, quint8 players, quint8 max, const QByteArray &after = {})
{
    return hex("FFFFFFFF4911") + text(name) + text("map") + text("folder") + text("game") + hex("DA03")
        + QByteArray(1, char(players)) + QByteArray(1, char(max)) + hex("04") + hex("646C0001") + after;
}

QString describe(const A2SWire::Packet &packet)
{
    if (const auto *simple = std::get_if<QByteArray>(&packet))
        return u"simple "_s + QString::fromLatin1(simple->toHex());
    const auto &split = std::get<A2SWire::SplitPacket>(packet);
    return u"split id=%1 %2/%3 "_s.arg(split.id, 0, 16).arg(split.number).arg(split.total)
        + QString::fromLatin1(split.payload.toHex());
}

} // namespace

Q_DECLARE_METATYPE(Script)

class A2SQueryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void query_data()
    {
        QTest::addColumn<Script>("script");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("infoRequests");
        QTest::addColumn<int>("playerRequests");
        const QString online = u"2/16 [Alex,Noor] Tidewatch test"_s;
        const QString infoOnly = u"2/16 [] Tidewatch test"_s;
        const QString malformed = u"malformed reply"_s;

        QTest::newRow("the list's length is the count") << Script{.info = {.players = 9}} << online << 1 << 1;
        QTest::newRow("empty names counted, not listed")
            << Script{.players = {{"a"}, {""}, {"b"}}} << u"3/16 [a,b] Tidewatch test"_s << 1 << 1;
        QTest::newRow("no players keeps the info count")
            << Script{.info = {.players = 4}, .players = {}} << u"4/16 [] Tidewatch test"_s << 1 << 1;
        QTest::newRow("keyword counts stay, names come")
            << Script{.info = {.players = 4, .keywords = "cp300,mp500"}, .countsInKeywords = true}
            << u"300/500 [Alex,Noor] Tidewatch test"_s << 1 << 1;
        QTest::newRow("challenge once, reused for players") << Script{.challenge = Challenge::Once} << online << 2 << 1;
        QTest::newRow("challenge forever")
            << Script{.challenge = Challenge::Forever} << u"challenge loop exceeded"_s << 4 << 0;
        QTest::newRow("short challenge") << Script{.rawInfo = QByteArray::fromHex("FFFFFFFF41010203")} << malformed << 1
                                         << 0;
        QTest::newRow("info of another type")
            << Script{.rawInfo = A2SResponder::infoReply({}).replace(4, 1, "m")} << malformed << 1 << 0;
        QTest::newRow("split, 2 0 1") << Script{.infoSplit = {.fragments = 3, .order = {2, 0, 1}},
                                                .queriesPlayers = false}
                                      << infoOnly << 1 << 0;
        QTest::newRow("a repeat replaces itself")
            << Script{.infoSplit = {.fragments = 2, .order = {1, 1, 0}}} << online << 1 << 1;
        QTest::newRow("33 fragments, one missing")
            << Script{.infoSplit = {.fragments = 2, .order = QList<int>(33, 0)}} << malformed << 1 << 0;
        QTest::newRow("a fragment of another reply")
            << Script{.infoSplit = {.fragments = 3, .foreignAt = 1}} << malformed << 1 << 0;
        QTest::newRow("over 64 KiB") << Script{.rawInfo = A2SResponder::infoReply({.keywords = QByteArray(70000, 'k')}),
                                               .infoSplit = {.fragments = 32}}
                                     << u"reply too large"_s << 1 << 0;
        QTest::newRow("a lost fragment") << Script{.infoSplit = {.fragments = 3, .order = {0, 2}}} << u"timed out"_s
                                         << 1 << 0;
        // The info came: whatever goes wrong with the list leaves the server online with the info counts.
        QTest::newRow("player list silent")
            << Script{.info = {.players = 5}, .silentPlayers = true} << u"5/16 [] Tidewatch test"_s << 1 << 1;
        // Not the session's five seconds, nor its refusal: the passed deadline is checked before waiting.
        QTest::newRow("deadline passed") << Script{.portClosed = true, .limits = {5s, 0ms}} << u"timed out"_s << 0 << 0;
        QTest::newRow("refused is the session's text")
            << Script{.portClosed = true, .limits = {5s, 10s}} << u"connection refused"_s << 0 << 0;
    }
    void query()
    {
        QFETCH(Script, script);
        auto responder = std::make_unique<A2SResponder>();
        responder->setChallenge(script.challenge);
        responder->setInfo(script.info);
        responder->setPlayers(script.players);
        if (script.rawInfo)
            responder->setRawInfo(*script.rawInfo);
        responder->splitInfo(script.infoSplit);
        responder->silencePlayers(script.silentPlayers);
        const quint16 port = responder->port();
        if (script.portClosed)
            responder.reset();

        GameDefinition definition;
        definition.queriesPlayers = script.queriesPlayers;
        definition.playerCountInKeywords = script.countsInKeywords;
        auto udp = std::make_shared<ClosingCounter>();
        QElapsedTimer clock;
        clock.start();
        QString outcome;
        try {
            const GameFacts facts =
                await(A2SQuery::queryServer(u"127.0.0.1"_s, port, definition, udp, makeStopToken(), script.limits));
            outcome = gamesFacts(facts);
        } catch (const A2SReplyError &error) {
            outcome = error.reason();
        } catch (const ProviderError &error) {
            outcome = error.kind() == ProviderError::Kind::Upstream ? error.description()
                                                                    : u"fails: "_s + error.description();
        }
        QCOMPARE(outcome, TW_DATA(QString, outcome));
        QVERIFY(clock.elapsed() < 1000); // no row waits out more than one short receive bound
        QCOMPARE(responder ? responder->infoRequests() : 0, TW_DATA(int, infoRequests));
        QCOMPARE(responder ? responder->playerRequests() : 0, TW_DATA(int, playerRequests));
        QCOMPARE(udp->opened, 1);
        QCOMPARE(*udp->closed, 1);
    }

    void parsePacket_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<QString>("parsed");
        QTest::newRow("three bytes") << hex("FFFFFF") << u"malformed reply"_s;
        QTest::newRow("simple, header only") << hex("FFFFFFFF") << u"simple ffffffff"_s;
        QTest::newRow("unknown header") << hex("FDFFFFFF49") << u"malformed reply"_s;
        QTest::newRow("split of 11 bytes") << hex("FEFFFFFF0100000002") + hex("0000") << u"malformed reply"_s;
        QTest::newRow("split, header only") << hex("FEFFFFFF010000000201E004") << u"split id=1 1/2 "_s;
        QTest::newRow("split with payload") << hex("FEFFFFFF78563412030200FFAABB") << u"split id=12345678 2/3 aabb"_s;
        QTest::newRow("total 1, number 0") << hex("FEFFFFFF070000000100E004CC") << u"split id=7 0/1 cc"_s;
        QTest::newRow("total 32") << hex("FEFFFFFF07000000201FE004") << u"split id=7 31/32 "_s;
        QTest::newRow("total 0") << hex("FEFFFFFF070000000000E004") << u"malformed reply"_s;
        QTest::newRow("total 33") << hex("FEFFFFFF070000002100E004") << u"malformed reply"_s;
        QTest::newRow("number equals total") << hex("FEFFFFFF070000000202E004") << u"malformed reply"_s;
        QTest::newRow("compressed") << hex("FEFFFFFF070000800200E004") << u"compressed reply not supported"_s;
    }
    void parsePacket()
    {
        QString parsed;
        try {
            parsed = describe(A2SWire::parsePacket(TW_DATA(QByteArray, datagram)));
        } catch (const A2SReplyError &error) {
            parsed = error.reason();
        }
        QCOMPARE(parsed, TW_DATA(QString, parsed));
    }

    void parseInfo_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("countsInKeywords");
        QTest::addColumn<QString>("facts");
        QTest::newRow("ends at the VAC byte") << info("x", 3, 8) << false << u"3/8 [] x"_s;
        QTest::newRow("bots are not subtracted")
            << info("x", 5, 8).replace(hex("0508 04"), hex("0508 05")) << false << u"5/8 [] x"_s;
        QTest::newRow("VAC byte missing") << info("x", 3, 8).chopped(1) << false << u"nothing"_s;
        QTest::newRow("header not FF") << info("x", 3, 8).replace(0, 1, hex("FE")) << false << u"nothing"_s;
        QTest::newRow("nothing after its type") << hex("FFFFFFFF49") << false << u"nothing"_s;
        QTest::newRow("name without its end") << hex("FFFFFFFF4911") + "Tidewatch" << false << u"nothing"_s;
        // Texts decode leniently, as qstat and gamedig read them: a stray byte costs a character.
        QTest::newRow("Latin-1 name") << info("caf\xE9", 3, 8) << false << u"3/8 [] caf\uFFFD"_s;
        QTest::newRow("UTF-8 name") << info("Wikinger Ø", 1, 10) << false << u"1/10 [] Wikinger Ø"_s;

        // The keywords sit in the extra data after the version text, each flag adding its field.
        const auto extra = [](const char *flags, const QByteArray &fields) -> QByteArray {
            return text("1.0") + hex(flags) + fields;
        };
        QTest::newRow("keywords ignored unless asked for")
            << info("r", 3, 8, extra("20", "cp9" + hex("00"))) << false << u"3/8 [] r"_s;
        QTest::newRow("version without its end") << info("r", 3, 8, "1.0") << true << u"3/8 [] r"_s;
        QTest::newRow("version, no flags") << info("r", 3, 8, text("1.0")) << true << u"3/8 [] r"_s;
        QTest::newRow("flag 0x80 skips two bytes")
            << info("r", 3, 8, extra("A0", "XYcp9" + hex("00"))) << true << u"9/8 [] r"_s;
        QTest::newRow("flag 0x80 short") << info("r", 3, 8, extra("A0", "X")) << true << u"3/8 [] r"_s;
        QTest::newRow("flag 0x10 skips eight bytes")
            << info("r", 3, 8, extra("30", "12345678mp20" + hex("00"))) << true << u"3/20 [] r"_s;
        QTest::newRow("flag 0x40 skips two bytes and a text")
            << info("r", 3, 8, extra("60", "PPtv" + hex("00") + "cp4" + hex("00"))) << true << u"4/8 [] r"_s;
        QTest::newRow("flag 0x40 with its text unended")
            << info("r", 3, 8, extra("60", "PPtv")) << true << u"3/8 [] r"_s;
        QTest::newRow("flag 0x01 needs eight bytes after")
            << info("r", 3, 8, extra("21", "cp4" + hex("00") + "1234567")) << true << u"3/8 [] r"_s;
        QTest::newRow("flag 0x01 with its eight bytes")
            << info("r", 3, 8, extra("21", "cp4" + hex("00") + "12345678")) << true << u"4/8 [] r"_s;
    }
    void parseInfo()
    {
        const auto facts = A2SWire::parseInfo(TW_DATA(QByteArray, reply), TW_DATA(bool, countsInKeywords));
        QCOMPARE(facts ? gamesFacts(*facts) : u"nothing"_s, TW_DATA(QString, facts));
    }

    void parsePlayers_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("names"); // "|" between names; "nothing" when the reply is unreadable
        const QByteArray score = hex("0100000000004842");
        QTest::newRow("empty names kept") << A2SResponder::playerReply({{"a"}, {""}, {"b"}}) << u"a||b"_s;
        QTest::newRow("zero declared") << hex("FFFFFFFF4400") << QString();
        QTest::newRow("five bytes") << hex("FFFFFFFF44") << u"nothing"_s;
        QTest::newRow("wrong type") << hex("FFFFFFFF4500") << u"nothing"_s;
        QTest::newRow("declares more than it has")
            << hex("FFFFFFFF4403") + hex("00") + text("Alex") + score << u"Alex"_s;
        QTest::newRow("last entry without its score")
            << hex("FFFFFFFF4402") + hex("00") + text("Alex") + score + hex("01") + text("Noor") + score.left(7)
            << u"Alex"_s;
        QTest::newRow("name without its end")
            << hex("FFFFFFFF4402") + hex("00") + text("Alex") + score + hex("01") + "No" << u"Alex"_s;
        QTest::newRow("invalid UTF-8 costs a character, not the list") << hex("FFFFFFFF4403") + hex("00") + text("Alex")
                + score + hex("01") + text(hex("C3")) + score + hex("02") + text("Noor")
                + score << u"Alex|\uFFFD|Noor"_s;
        QTest::newRow("reads no more than declared")
            << hex("FFFFFFFF4401") + hex("00") + text("Alex") + score + hex("01") + text("Noor") + score << u"Alex"_s;
        QTest::newRow("a score with a zero byte in it")
            << A2SResponder::playerReply({{"Alex", 0, 0}, {"Noor", 7, 1}}) << u"Alex|Noor"_s;
    }
    void parsePlayers()
    {
        const std::optional<QStringList> names = A2SWire::parsePlayers(TW_DATA(QByteArray, reply));
        QCOMPARE(names ? names->join(u'|') : u"nothing"_s, TW_DATA(QString, names));
    }

    void parseKeywordCounts_data()
    {
        QTest::addColumn<QString>("keywords");
        QTest::addColumn<QString>("counts"); // current/max, "-" for none
        QTest::newRow("later wins") << u"cp5,mp100,cp7"_s << u"7/100"_s;
        QTest::newRow("no digits") << u"cp,mpx"_s << u"-/-"_s;
        QTest::newRow("negative") << u"cp-3"_s << u"-/-"_s;
        QTest::newRow("a bad later piece keeps the earlier") << u"cp5,cpx,cp-1"_s << u"5/-"_s;
        QTest::newRow("spaces are not digits") << u"cp 5,mp8 "_s << u"-/-"_s;
        QTest::newRow("plus sign") << u"cp+5"_s << u"5/-"_s;
        QTest::newRow("other keywords") << u"pve,modded,v2531,qp0,cp0"_s << u"0/-"_s;
        QTest::newRow("beyond 64 bits") << u"cp99999999999999999999"_s << u"-/-"_s;
        QTest::newRow("prefix is case-sensitive") << u"CP5,Mp4"_s << u"-/-"_s;
    }
    void parseKeywordCounts()
    {
        const A2SWire::KeywordCounts counts = A2SWire::parseKeywordCounts(TW_DATA(QString, keywords));
        const auto text = [](std::optional<qint64> n) {
            return n ? QString::number(*n) : u"-"_s;
        };
        QCOMPARE(text(counts.current) + u'/' + text(counts.max), TW_DATA(QString, counts));
    }
};

QTEST_GUILESS_MAIN(A2SQueryTest)
#include "A2SQueryTest.moc"
