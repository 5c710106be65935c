#include "kit/games/MinecraftSLP.h"

#include "kit/base/ProviderError.h"
#include "kit/games/BedrockPing.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"
#include "support/GamesFacts.h"
#include "support/MinecraftResponder.h"
#include "support/RakNetResponder.h"
#include "support/TestData.h"

#include <QTest>
#include <QtEndian>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Records which services were asked for and answers from a table.
class ScriptedResolver : public SRVResolver
{
public:
    QHash<QString, SRVRecord> answers;
    QStringList asked;
    QCoro::Task<std::optional<SRVRecord>> resolve(QString service, std::chrono::milliseconds, StopToken) override
    {
        asked.append(service);
        co_return answers.contains(service) ? std::optional(answers.value(service)) : std::nullopt;
    }
};

QString exchangeFailure(MinecraftResponder &responder)
{
    TCPByteChannelFactory factory(500ms);
    try {
        const QString host = u"127.0.0.1"_s;
        const StopToken stop = makeStopToken();
        auto channel = await(factory.connect(host, responder.port(), stop));
        await(MinecraftSLP::exchange(*channel, host, responder.port()));
    } catch (const ProviderError &error) {
        return error.description();
    }
    return {};
}

QByteArray pong(const QByteArray &text, int announced = -1, quint8 id = 0x1C)
{
    QByteArray bytes = RakNetResponder::pong(text);
    bytes[0] = char(id);
    if (announced >= 0)
        qToBigEndian(quint16(announced), bytes.data() + 33);
    return bytes;
}

} // namespace

class MinecraftSLPTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestBytes()
    {
        QCOMPARE(MinecraftSLP::encodeStatusRequest(u"mc"_s, 25565), QByteArray::fromHex("0900F205026D6363DD010100"));
        QCOMPARE(MinecraftSLP::encodeVarInt(0), QByteArray(1, '\0'));
        QCOMPARE(MinecraftSLP::encodeVarInt(300), QByteArray::fromHex("AC02"));
        QCOMPARE(BedrockPing::buildPing().toHex(),
                 QByteArray("01"
                            "0000000000000000"
                            "00ffff00fefefefefdfdfdfd12345678"
                            "0123456789abcdef"));
    }

    // Java's status JSON, and Bedrock's pong in the rows tagged so, as the user reads them.
    void replies_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("facts"); // null: not a status
        QTest::newRow("count as text") << QByteArray(R"({"players":{"online":"3"}})") << u"3/- [] "_s;
        QTest::newRow("empty object") << QByteArray("{}") << u"-/- [] "_s;
        QTest::newRow("array root") << QByteArray("[]") << QString();
        QTest::newRow("sample with a stray entry")
            << QByteArray(R"({"players":{"sample":[{"name":"a"},7]}})") << u"-/- [] "_s;
        QTest::newRow("colour codes stripped from the version")
            << QByteArray(R"({"version":{"name":"§cMaintenance §lsoon§"}})") << u"-/- [] Maintenance soon"_s;
        QTest::newRow("version wins over the description")
            << QByteArray(R"({"version":{"name":"Paper 1.21.4"},"description":"hi"})") << u"-/- [] Paper 1.21.4"_s;
        QTest::newRow("description as text, on one line")
            << QByteArray(R"({"description":"§6Welcome§r to\n§7Tidewatch"})") << u"-/- [] Welcome to Tidewatch"_s;
        QTest::newRow("description as a component with extra")
            << QByteArray(R"({"description":{"text":"§aHello ","extra":[{"text":"world","bold":true},"!",)"
                          R"({"text":"","extra":[{"text":" §kx§r:D"}]}]}})")
            << u"-/- [] Hello world! x:D"_s;
        QTest::newRow("description of another shape") << QByteArray(R"({"description":[1,2]})") << u"-/- [] "_s;
        QTest::newRow("hover lines under the nil UUID are no players")
            << QByteArray(R"({"players":{"online":1,"sample":[)"
                          R"({"name":"§6Visit tidewatch.lan","id":"00000000-0000-0000-0000-000000000000"},)"
                          R"({"name":"Alex","id":"069a79f4-44e9-4726-a5be-fca90e38aaf5"},{"name":"Noor"}]}})")
            << u"1/- [Alex,Noor] "_s;
        QTest::newRow("Bedrock: motd only") << pong("MCPE;hello") << u"-/- [] hello"_s;
        QTest::newRow("Bedrock: empty count") << pong("MCPE;hello;1;;x;10") << u"-/10 [] hello"_s;
        QTest::newRow("Bedrock: 34 bytes") << pong("").left(34) << QString();
        QTest::newRow("Bedrock: 35 bytes, no text") << pong("") << QString();
        QTest::newRow("Bedrock: length past the end is cut")
            << pong("MCPE;m;1;1.2;4;8;;;;;;;;;;", 1000) << u"4/8 [] 1.2"_s;
        QTest::newRow("Bedrock: wrong id") << pong("MCPE;m;1;1.2;4;8", -1, 0x1D) << QString();
        QTest::newRow("Bedrock: invalid UTF-8") << pong("MCPE;\xff\xfe;1;1.2") << QString();
    }
    void replies()
    {
        QFETCH(QByteArray, reply);
        const bool bedrock = QByteArray(QTest::currentDataTag()).startsWith("Bedrock: ");
        const std::optional<GameFacts> facts =
            bedrock ? BedrockPing::parsePong(reply) : MinecraftSLP::parseStatus(reply);
        QCOMPARE(facts ? gamesFacts(*facts) : QString(), TW_DATA(QString, facts));
    }

    void brokenServers_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("failure");
        const QByteArray ok = "{}";
        QTest::newRow("packet id 1") << MinecraftResponder::frame(ok, 1) << u"unexpected packet id"_s;
        QTest::newRow("packet id 0 in two bytes")
            << (QByteArray::fromHex("04") + QByteArray::fromHex("8000") + QByteArray::fromHex("02") + ok) << QString();
        QTest::newRow("six-byte varint") << QByteArray::fromHex("8080808080") + QByteArray(1, '\x01')
                                         << u"varint too long"_s;
        QTest::newRow("announces 524289 bytes")
            << (QByteArray::fromHex("05") + QByteArray(1, '\0') + MinecraftSLP::encodeVarInt(524289))
            << u"status reply too large"_s;
        QTest::newRow("zero-length text") << QByteArray::fromHex("020000") << u"malformed reply"_s;
        QTest::newRow("not JSON") << MinecraftResponder::frame("<html>") << u"malformed reply"_s;
        QTest::newRow("exactly the limit is read")
            << MinecraftResponder::frame("{\"version\":{\"name\":\"" + QByteArray(524288 - 23, 'v') + "\"}}")
            << QString();
        QTest::newRow("cut short") << MinecraftResponder::frame(QByteArray(100, 'x')).left(20) << u"timed out"_s;
    }
    void brokenServers()
    {
        MinecraftResponder responder;
        responder.replyRaw(TW_DATA(QByteArray, reply));
        QCOMPARE(exchangeFailure(responder), TW_DATA(QString, failure));
    }

    void srvOnlyForNamesOnTheDefaultPort_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("asked"); // empty: no look-up
        QTest::addColumn<QString>("target");
        QTest::newRow("name on 25565, answered")
            << u"mc.example"_s << 25565 << u"_minecraft._tcp.mc.example"_s << u"play.example:25570"_s;
        QTest::newRow("name on 25565, no record")
            << u"mc.lan"_s << 25565 << u"_minecraft._tcp.mc.lan"_s << u"mc.lan:25565"_s;
        QTest::newRow("other port") << u"mc.example"_s << 25566 << QString() << u"mc.example:25566"_s;
        QTest::newRow(".local any case") << u"Box.LOCAL"_s << 25565 << QString() << u"Box.LOCAL:25565"_s;
        QTest::newRow("IPv4") << u"192.168.1.5"_s << 25565 << QString() << u"192.168.1.5:25565"_s;
    }
    void srvOnlyForNamesOnTheDefaultPort()
    {
        QFETCH(QString, asked);
        auto resolver = std::make_shared<ScriptedResolver>();
        resolver->answers.insert(u"_minecraft._tcp.mc.example"_s, {u"play.example"_s, 25570});
        const auto target = await(MinecraftSLP::resolveTarget(TW_DATA(QString, host),
                                                              quint16(TW_DATA(int, port)),
                                                              resolver,
                                                              makeStopToken()));
        QCOMPARE(resolver->asked, asked.isEmpty() ? QStringList{} : QStringList{asked});
        QCOMPARE(target.host + u':' + QString::number(target.port), TW_DATA(QString, target));
    }

    void bedrockAgainstALocalResponder()
    {
        RakNetResponder server;
        server.replyWith("MCPE;Bedrock;712;1.21.2;2;20");
        const auto udp = std::make_shared<SocketUDPTransport>();
        const auto ping = [&]() -> QString {
            try {
                return gamesFacts(await(BedrockPing::ping(u"127.0.0.1"_s, server.port(), udp, makeStopToken())));
            } catch (const ProviderError &error) {
                return error.description();
            }
        };
        QCOMPARE(ping(), u"2/20 [] 1.21.2"_s);
        server.replyRaw("\x1c hello");
        QCOMPARE(ping(), u"malformed reply"_s);
        QCOMPARE(server.received().size(), 2);
    }
};

QTEST_GUILESS_MAIN(MinecraftSLPTest)
#include "MinecraftSLPTest.moc"
