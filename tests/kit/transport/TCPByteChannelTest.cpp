#include "kit/transport/TCPByteChannel.h"

#include "kit/base/Cancelled.h"
#include "kit/transport/TCPByteChannelFactory.h"
#include "support/Await.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class TCPByteChannelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopEndsAReadAtOnce()
    {
        QTcpServer peer; // accepts, and never says a word
        QVERIFY(peer.listen(QHostAddress::LocalHost, 0));
        TCPByteChannelFactory factory(10s);
        StopToken stop = makeStopToken();
        QTimer::singleShot(50, stop.get(), &StopSource::requestStop);
        QElapsedTimer clock;
        clock.start();
        QVERIFY_THROWS_EXCEPTION(Cancelled, tw::test::await([&]() -> QCoro::Task<> {
                                     const QString host = u"127.0.0.1"_s;
                                     auto channel = co_await factory.connect(host, peer.serverPort(), stop);
                                     co_await channel->read(1);
                                 }()));
        QVERIFY(clock.elapsed() < 2000);
    }
};

QTEST_GUILESS_MAIN(TCPByteChannelTest)
#include "TCPByteChannelTest.moc"
