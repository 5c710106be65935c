#include "kit/model/TCPPortConfig.h"
#include "support/CliProcess.h"
#include "support/XInput.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// The panel's side of StatusNotifierItem: it says a host is there, so the program shows its icon
// over D-Bus, and it keeps the name each item registers under.
class FakeWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return m_items; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        m_items << (service.startsWith(u'/') ? message.service() : service);
    }
    void RegisterStatusNotifierHost(const QString &) { }

private:
    QStringList m_items;
};

} // namespace

// The real program on a bus whose panel speaks StatusNotifierItem: a click on its icon, as the
// panel reports it, opens the popover at the icon; a panel that does not say where opens it at the
// pointer. The popover is found and measured on the X server.
class TrayActivationTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QProcess m_bus;
    QString m_address;
    FakeWatcher m_watcher;
    QProcess m_app;

    void activate(const QPoint &at)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(m_watcher.items().value(0),
                                                           u"/StatusNotifierItem"_s,
                                                           u"org.kde.StatusNotifierItem"_s,
                                                           u"Activate"_s);
        call << at.x() << at.y();
        QDBusConnection(u"panel"_s).call(call, QDBus::NoBlock);
    }

    QRect popover()
    {
        const QStringList windows = XInput::windowsNamed(u"Tidewatch"_s, m_app.processId());
        return windows.isEmpty() ? QRect() : XInput::geometry(windows.last());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("DISPLAY"), "needs the X server of scripts/with-session");
        QVERIFY(m_home.isValid());
        // A bus of its own, so that no other test's program finds this panel.
        m_bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        QVERIFY(m_bus.waitForReadyRead(5000));
        m_address = QString::fromLocal8Bit(m_bus.readLine()).trimmed();
        QDBusConnection panel = QDBusConnection::connectToBus(m_address, u"panel"_s);
        QVERIFY(panel.isConnected());
        QVERIFY(panel.registerService(u"org.kde.StatusNotifierWatcher"_s));
        QVERIFY(panel.registerObject(u"/StatusNotifierWatcher"_s,
                                     &m_watcher,
                                     QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));

        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_address);
        env.insert(u"TIDEWATCH_TEST_HOST"_s, u"1"_s); // no polls: the popover keeps one height
        QVERIFY(startApplication(m_app,
                                 m_home.path(),
                                 {TCPPortConfig(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, 1)},
                                 env));
        QTRY_VERIFY_WITH_TIMEOUT(!m_watcher.items().isEmpty(), 10000);
    }

    void popoverOpensWhereThePanelWasClicked_data()
    {
        QTest::addColumn<QPoint>("reported"); // by the host; (0, 0) says nothing
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<int>("left");
        QTest::addColumn<int>("top");
        // The screen is 1280 by 800 and the popover 340 wide. Where it goes near an edge is
        // PopoverTextTest's.
        QTest::newRow("below the click, centred") << QPoint(640, 30) << QPoint(100, 600) << 470 << 35;
        QTest::newRow("no position: at the pointer") << QPoint(0, 0) << QPoint(500, 200) << 330 << 205;
    }
    void popoverOpensWhereThePanelWasClicked()
    {
        QFETCH(QPoint, reported);
        QFETCH(QPoint, pointer);
        QFETCH(int, left);
        QFETCH(int, top);
        QVERIFY(XInput::moveTo(pointer));
        activate(reported);
        QTRY_VERIFY_WITH_TIMEOUT(popover().isValid(), 10000);
        QTest::qWait(200);
        const QRect shown = popover();
        QCOMPARE(shown.width(), 340);
        QCOMPARE(shown.topLeft(), QPoint(left, top));
        // The same click again closes it.
        activate(reported);
        QTRY_VERIFY_WITH_TIMEOUT(!popover().isValid(), 5000);
    }

    void cleanupTestCase()
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.terminate();
            if (!m_app.waitForFinished(5000))
                m_app.kill();
        }
        QDBusConnection::disconnectFromBus(u"panel"_s);
        m_bus.terminate();
        m_bus.waitForFinished(2000);
    }
};

QTEST_GUILESS_MAIN(TrayActivationTest)
#include "TrayActivationTest.moc"
