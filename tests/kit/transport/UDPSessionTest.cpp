#include "kit/transport/UDPSession.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "support/Await.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QNetworkDatagram>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Answers the n-th datagram it gets with the n-th list of datagrams; runs out into silence.
class ScriptedPeer : public QObject
{
public:
    explicit ScriptedPeer(QList<QList<QByteArray>> script)
        : m_script(std::move(script))
    {
        m_socket.bind(QHostAddress::LocalHost, 0);
        connect(&m_socket, &QUdpSocket::readyRead, this, [this] {
            while (m_socket.hasPendingDatagrams()) {
                const QNetworkDatagram request = m_socket.receiveDatagram();
                received.append(request.data());
                for (const QByteArray &reply : m_script.value(received.size() - 1))
                    m_socket.writeDatagram(request.makeReply(reply));
            }
        });
    }
    quint16 port() const { return m_socket.localPort(); }
    QList<QByteArray> received;

private:
    QUdpSocket m_socket;
    QList<QList<QByteArray>> m_script;
};

// What each receive() gave: the datagram's size, or the error's text.
QString outcome(UDPSession &session)
{
    try {
        return u"%1 bytes"_s.arg(await(session.receive()).size());
    } catch (const ProviderError &error) {
        return error.description();
    } catch (const Cancelled &) {
        return u"cancelled"_s;
    }
}

} // namespace

class UDPSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rounds_data()
    {
        QTest::addColumn<QList<QList<QByteArray>>>("script");
        QTest::addColumn<QStringList>("outcomes"); // one send then one receive per entry
        QTest::newRow("an empty datagram") << QList<QList<QByteArray>>{{QByteArray()}} << QStringList{u"empty reply"_s};
        QTest::newRow("silence, then the session stays timed out")
            << QList<QList<QByteArray>>{{}, {"late"}} << QStringList{u"timed out"_s, u"timed out"_s};
    }
    void rounds()
    {
        QFETCH(QList<QList<QByteArray>>, script);
        ScriptedPeer peer(script);
        SocketUDPTransport transport;
        auto session = await(transport.open(u"127.0.0.1"_s, peer.port(), 200ms, makeStopToken()));
        QStringList outcomes;
        for (qsizetype round = 0; round < TW_DATA(QStringList, outcomes).size(); ++round) {
            try {
                await(session->send("question " + QByteArray::number(round)));
            } catch (const ProviderError &error) {
                outcomes.append(error.description());
                continue;
            }
            outcomes.append(outcome(*session));
        }
        QCOMPARE(outcomes, TW_DATA(QStringList, outcomes));
    }

    void aStopEndsTheWait()
    {
        ScriptedPeer silent(QList<QList<QByteArray>>{});
        SocketUDPTransport transport;
        const StopToken stop = makeStopToken();
        auto session = await(transport.open(u"127.0.0.1"_s, silent.port(), 5s, stop));
        await(session->send("hello"));
        QTimer::singleShot(30ms, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(outcome(*session), u"cancelled"_s);
        QVERIFY(clock.elapsed() < 1000);
        QCOMPARE(outcome(*session), u"cancelled"_s); // and at once when asked again
    }

    void portZeroIsRefusedBeforeAnySocket()
    {
        SocketUDPTransport transport;
        try {
            await(transport.open(u"127.0.0.1"_s, 0, 1s, makeStopToken()));
            QFAIL("port 0 was opened");
        } catch (const ProviderError &error) {
            QCOMPARE(error.kind(), ProviderError::Kind::Misconfigured);
            QCOMPARE(error.description(), u"port 0 out of range (1-65535)"_s);
        }
    }
};

QTEST_GUILESS_MAIN(UDPSessionTest)
#include "UDPSessionTest.moc"
