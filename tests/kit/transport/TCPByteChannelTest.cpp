#include "kit/transport/TCPByteChannel.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Accepts connections and writes what it is told to each, then keeps or drops the connection.
struct Peer
{
    QTcpServer server;
    QByteArray greeting;
    bool closeAfterGreeting = false;
    QList<QTcpSocket *> accepted;
    QByteArray received;

    Peer()
    {
        server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            QTcpSocket *socket = server.nextPendingConnection();
            accepted.append(socket);
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { received += socket->readAll(); });
            if (!greeting.isEmpty())
                socket->write(greeting);
            if (closeAfterGreeting)
                socket->disconnectFromHost();
        });
    }
};

using Failure = std::optional<FailureKind>;

// How the body failed, by kind rather than by its words; none when it did not fail.
Failure failureOf(std::function<QCoro::Task<>()> body)
{
    try {
        tw::test::await(body());
    } catch (const ProviderError &error) {
        return error.failure();
    }
    return std::nullopt;
}

} // namespace

class TCPByteChannelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusedPortFailsAtOnce()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 port = probe.serverPort();
        probe.close();
        TCPByteChannelFactory factory(5s);
        QElapsedTimer clock;
        clock.start();
        const QString host = u"127.0.0.1"_s;
        const StopToken stop = makeStopToken();
        QCOMPARE(failureOf([&]() -> QCoro::Task<> { co_await factory.connect(host, port, stop); }),
                 Failure(FailureKind::ConnectionRefused));
        QVERIFY2(clock.elapsed() < 1000, "a refused port must not wait for the bound");
    }

    void silentPeerTimesOutAtTheBound()
    {
        Peer peer;
        TCPByteChannelFactory factory(150ms);
        QElapsedTimer clock;
        clock.start();
        const Failure failure = failureOf([&]() -> QCoro::Task<> {
            const QString host = u"127.0.0.1"_s;
            const StopToken token = makeStopToken();
            auto channel = co_await factory.connect(host, peer.server.serverPort(), token);
            co_await channel->read(1);
        });
        QCOMPARE(failure, Failure(FailureKind::TimedOut));
        QVERIFY(clock.elapsed() >= 140 && clock.elapsed() < 2000);
    }

    void oneChunkServesSeveralReads()
    {
        Peer peer;
        peer.greeting = "0123456789";
        peer.closeAfterGreeting = true; // later reads must come from the buffer
        TCPByteChannelFactory factory(1s);
        QByteArray first, second;
        Failure failure;
        tw::test::await([&]() -> QCoro::Task<> {
            const QString host = u"127.0.0.1"_s;
            const StopToken token = makeStopToken();
            auto channel = co_await factory.connect(host, peer.server.serverPort(), token);
            QByteArray empty = co_await channel->read(0);
            Q_ASSERT(empty.isEmpty());
            first = co_await channel->read(4);
            second = co_await channel->read(6);
            try {
                co_await channel->read(1);
            } catch (const ProviderError &error) {
                failure = error.failure();
            }
        }());
        QCOMPARE(first, QByteArray("0123"));
        QCOMPARE(second, QByteArray("456789"));
        QCOMPARE(failure, Failure(FailureKind::EndOfStream));
    }

    void stopEndsAReadAtOnce()
    {
        Peer peer;
        TCPByteChannelFactory factory(10s);
        StopToken stop = makeStopToken();
        QTimer::singleShot(50, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QVERIFY_THROWS_EXCEPTION(Cancelled, failureOf([&]() -> QCoro::Task<> {
                                     const QString host = u"127.0.0.1"_s;
                                     auto channel = co_await factory.connect(host, peer.server.serverPort(), stop);
                                     co_await channel->read(1);
                                 }));
        QVERIFY(clock.elapsed() < 2000);
    }

    void sendReachesThePeer()
    {
        Peer peer;
        TCPByteChannelFactory factory(1s);
        tw::test::await([&]() -> QCoro::Task<> {
            const QString host = u"127.0.0.1"_s;
            const StopToken token = makeStopToken();
            auto channel = co_await factory.connect(host, peer.server.serverPort(), token);
            const QByteArray ping = "ping";
            co_await channel->send(ping);
        }());
        QTRY_COMPARE(peer.received, QByteArray("ping"));
    }
};

QTEST_GUILESS_MAIN(TCPByteChannelTest)
#include "TCPByteChannelTest.moc"
