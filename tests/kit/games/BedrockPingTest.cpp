#include "kit/games/BedrockPing.h"

#include "kit/base/ProviderError.h"
#include "support/Await.h"
#include "support/GamesFacts.h"
#include "support/TestData.h"

#include <QNetworkDatagram>
#include <QTest>
#include <QUdpSocket>
#include <QtEndian>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

QByteArray pong(const QByteArray &text, int announced = -1, quint8 id = 0x1C)
{
    QByteArray bytes(1, char(id));
    bytes += QByteArray(16, '\x07'); // time and server id: never read
    bytes += QByteArray::fromHex("00FFFF00FEFEFEFEFDFDFDFD12345678");
    char length[2];
    qToBigEndian(quint16(announced < 0 ? text.size() : announced), length);
    bytes.append(length, 2);
    return bytes + text;
}

} // namespace

class BedrockPingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pingBytes()
    {
        const QByteArray ping = BedrockPing::buildPing();
        QCOMPARE(ping.size(), 33);
        QCOMPARE(ping.toHex(),
                 QByteArray("01"
                            "0000000000000000"
                            "00ffff00fefefefefdfdfdfd12345678"
                            "0123456789abcdef"));
    }

    void parsePong_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<QString>("facts"); // null: not a pong
        QTest::newRow("dedicated server")
            << pong("MCPE;Dedicated Server;712;1.21.2;3;10;1234;world") << u"3/10 [] 1.21.2"_s;
        QTest::newRow("motd only") << pong("MCPE;hello") << u"-/- [] hello"_s;
        QTest::newRow("empty count") << pong("MCPE;hello;1;;x;10") << u"-/10 [] hello"_s;
        QTest::newRow("34 bytes") << pong("").left(34) << QString();
        QTest::newRow("35 bytes, no text") << pong("") << QString();
        QTest::newRow("length past the end is cut") << pong("MCPE;m;1;1.2;4;8;;;;;;;;;;", 1000) << u"4/8 [] 1.2"_s;
        QTest::newRow("wrong id") << pong("MCPE;m;1;1.2;4;8", -1, 0x1D) << QString();
        QTest::newRow("invalid UTF-8") << pong("MCPE;\xff\xfe;1;1.2") << QString();
    }
    void parsePong()
    {
        const std::optional<GameFacts> facts = BedrockPing::parsePong(TW_DATA(QByteArray, datagram));
        QCOMPARE(facts ? gamesFacts(*facts) : QString(), TW_DATA(QString, facts));
    }

    void againstALocalResponder()
    {
        QUdpSocket server;
        QVERIFY(server.bind(QHostAddress::LocalHost, 0));
        QByteArray asked;
        connect(&server, &QUdpSocket::readyRead, &server, [&] {
            const QNetworkDatagram request = server.receiveDatagram();
            asked = request.data();
            server.writeDatagram(request.makeReply(pong("MCPE;Bedrock;712;1.21.2;2;20")));
        });
        const auto udp = std::make_shared<SocketUDPTransport>();
        const GameFacts facts = await(BedrockPing::ping(u"127.0.0.1"_s, server.localPort(), udp, makeStopToken()));
        QCOMPARE(asked, BedrockPing::buildPing());
        QCOMPARE(facts.playersCurrent, 2);
        QCOMPARE(facts.detail, u"1.21.2"_s);

        // A server that answers with something else is offline with the reason.
        disconnect(&server, nullptr, nullptr, nullptr);
        connect(&server, &QUdpSocket::readyRead, &server, [&] {
            const QNetworkDatagram request = server.receiveDatagram();
            server.writeDatagram(request.makeReply(QByteArray("\x1c hello")));
        });
        try {
            await(BedrockPing::ping(u"127.0.0.1"_s, server.localPort(), udp, makeStopToken()));
            QFAIL("a bad pong was taken");
        } catch (const ProviderError &error) {
            QCOMPARE(error.description(), u"malformed reply"_s);
        }
    }
};

QTEST_GUILESS_MAIN(BedrockPingTest)
#include "BedrockPingTest.moc"
