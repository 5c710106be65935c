#include "kit/providers/ICMPPingProvider.h"

#include "kit/base/Cancelled.h"
#include "support/Await.h"
#include "support/TestData.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Set in the copy of this test that runs inside a private network namespace, where ping sockets
// are allowed: there the echo tests must pass, not skip.
constexpr auto namespaceMarker = "TW_PING_NAMESPACE";

bool insideTestNamespace()
{
    return qEnvironmentVariableIsSet(namespaceMarker);
}

// Whether the kernel lets this process's group open ping sockets.
bool pingAllowed()
{
    QFile file(u"/proc/sys/net/ipv4/ping_group_range"_s);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QList<QByteArray> range = file.readAll().simplified().split(' ');
    if (range.size() != 2)
        return false;
    const qint64 gid = qint64(::getgid());
    return range.at(0).toLongLong() <= gid && gid <= range.at(1).toLongLong();
}

bool sysctl(const QString &setting)
{
    return QProcess::execute(u"sysctl"_s, {u"-qw"_s, setting}) == 0;
}

CheckResult pingOnce(const QString &host, qint64 count, StopToken stop = makeStopToken())
{
    ICMPPingProvider provider(ICMPPingConfig(QUuid::createUuid(), u"ping"_s, host, count));
    const SourceSnapshot snapshot = await(provider.fetch(std::move(stop)));
    if (snapshot.widgets.size() != 1 || !std::holds_alternative<CheckResult>(snapshot.widgets.first().payload))
        return {};
    return std::get<CheckResult>(snapshot.widgets.first().payload);
}

} // namespace

class ICMPPingProviderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ping_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("row");
        QTest::newRow("unresolvable name") << u"no-such-host.invalid"_s << 1 << u"down host not found"_s;
        // Where the kernel allows ping sockets, an address with no route says so instead.
        QTest::newRow("refused by the kernel, or no route")
            << u"192.0.2.1"_s << 1
            << (pingAllowed() ? u"down host unreachable"_s
                              : u"down ping sockets are not allowed for this user; allow them with "
                                "sysctl -w net.ipv4.ping_group_range=\"0 2147483647\""_s);
        QTest::newRow("one echo") << u"127.0.0.1"_s << 1 << u"up ms"_s;
        QTest::newRow("by name") << u"localhost"_s << 2 << u"up ms"_s;
        QTest::newRow("IPv6") << u"::1"_s << 2 << u"up ms"_s;
    }
    void ping()
    {
        const bool echoes = TW_DATA(QString, row).startsWith(u"up");
        if (echoes && !pingAllowed() && !insideTestNamespace())
            QSKIP("the kernel refuses ping sockets here; echoInAPrivateNetworkNamespace runs this where they are "
                  "allowed");
        if (pingAllowed() && !insideTestNamespace() && TW_DATA(QString, host) == u"192.0.2.1")
            QSKIP("this machine has a route for the test network; the private namespace has none");
        QElapsedTimer clock;
        clock.start();
        const CheckResult row = pingOnce(TW_DATA(QString, host), TW_DATA(int, count));
        QCOMPARE(toText(row.status) + (row.latencyMs ? u" ms"_s : QString())
                     + (row.detail ? u' ' + *row.detail : QString()),
                 TW_DATA(QString, row));
        QVERIFY(!row.latencyMs || (*row.latencyMs > 0 && *row.latencyMs < 100));
        QVERIFY2(!echoes || clock.elapsed() < 1000, "answered echoes must not wait for their bound");
    }

    void unansweredEchoesReadNoReply()
    {
        if (!insideTestNamespace())
            QSKIP("needs net.ipv4.icmp_echo_ignore_all, which only the private namespace may change");
        QVERIFY(sysctl(u"net.ipv4.icmp_echo_ignore_all=1"_s));
        const auto restore = qScopeGuard([] { sysctl(u"net.ipv4.icmp_echo_ignore_all=0"_s); });
        QElapsedTimer clock;
        clock.start();
        const CheckResult row = pingOnce(u"127.0.0.1"_s, 2);
        QCOMPARE(row.status, ServiceStatus::Down);
        QCOMPARE(row.detail, u"no reply"_s);
        QCOMPARE(row.latencyMs, std::nullopt);
        // Two echoes, each waiting out its own bound, and no longer.
        QVERIFY2(clock.elapsed() >= 2 * 1900 && clock.elapsed() < 2 * 2000 + 800,
                 qPrintable(QString::number(clock.elapsed())));

        const StopToken stop = makeStopToken();
        QTimer::singleShot(50ms, stop.get(), &StopSource::requestStop);
        clock.restart();
        QVERIFY_THROWS_EXCEPTION(Cancelled, pingOnce(u"127.0.0.1"_s, 5, stop));
        QVERIFY(clock.elapsed() < 1000);
    }

    void echoInAPrivateNetworkNamespace()
    {
        if (insideTestNamespace())
            QSKIP("already inside");
        const QString unshare = QStandardPaths::findExecutable(u"unshare"_s);
        QVERIFY2(!unshare.isEmpty(), "unshare (util-linux) is needed");
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(namespaceMarker), u"1"_s);
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(unshare,
                    {u"--user"_s,
                     u"--map-root-user"_s,
                     u"--net"_s,
                     u"sh"_s,
                     u"-ec"_s,
                     u"ip link set lo up; sysctl -qw net.ipv4.ping_group_range='0 0'; exec \"$0\" \"$@\""_s,
                     QCoreApplication::applicationFilePath(),
                     u"ping"_s,
                     u"unansweredEchoesReadNoReply"_s});
        QVERIFY(child.waitForFinished(60000));
        const QByteArray output = child.readAll();
        QVERIFY2(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0, output.constData());
        QVERIFY2(!output.contains("SKIP"), output.constData());
        QVERIFY2(output.contains("PASS   : ICMPPingProviderTest::unansweredEchoesReadNoReply()"), output.constData());
    }
};

QTEST_GUILESS_MAIN(ICMPPingProviderTest)
#include "ICMPPingProviderTest.moc"
