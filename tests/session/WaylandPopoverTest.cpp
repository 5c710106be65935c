#include "kit/model/SourcesStore.h"
#include "support/Files.h"
#include "support/SwaySession.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// The real program as a native Wayland client of sway, with swaybar's tray as the panel: its icon
// registers with swaybar's watcher, an activation opens the popover as a small floating window that
// has the keyboard focus, and Escape or a focus elsewhere closes it. Runs under
// scripts/with-wayland-session and skips anywhere else.
class WaylandPopoverTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QProcess m_app;
    QString m_item; // the icon's service on the bus

    // A property read with a plain call: QDBusInterface's introspected metaobjects outlive the test.
    static QVariant property(const QString &service, const QString &path, const QString &interface, const QString &name)
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        call << interface << name;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return {};
        return reply.arguments().first().value<QDBusVariant>().variant();
    }

    // The item the program registered: the watcher lists "service/path" entries; the service's
    // owner is the program.
    QString itemOfTheProgram()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        const QStringList entries = property(u"org.kde.StatusNotifierWatcher"_s,
                                             u"/StatusNotifierWatcher"_s,
                                             u"org.kde.StatusNotifierWatcher"_s,
                                             u"RegisteredStatusNotifierItems"_s)
                                        .toStringList();
        for (const QString &entry : entries) {
            const QString service = entry.section(u'/', 0, 0);
            if (bus->servicePid(service).value() == m_app.processId())
                return service;
        }
        return {};
    }

    void activate()
    {
        // Where swaybar says its icon was clicked: at the right end of the top bar.
        QDBusMessage call = QDBusMessage::createMethodCall(m_item,
                                                           u"/StatusNotifierItem"_s,
                                                           u"org.kde.StatusNotifierItem"_s,
                                                           u"Activate"_s);
        call << 1270 << 15;
        QDBusConnection::sessionBus().call(call, QDBus::NoBlock);
    }

    QJsonObject popover() { return SwaySession::window(m_app.processId(), u"Tidewatch"_s); }

    // Whether swaybar draws anything in the last 40 px of its 30 px high bar, where its tray sits;
    // with no status line the bar is black there until an icon shows.
    static bool trayShowsAnIcon()
    {
        const QString path = QDir(QDir::tempPath()).filePath(u"tidewatch-wayland-bar.png"_s);
        QImage screen;
        if (!SwaySession::screenshot(path) || !screen.load(path))
            return false;
        QFile::remove(path);
        for (int y = 0; y < 30; ++y) {
            for (int x = screen.width() - 40; x < screen.width(); ++x) {
                if (qGray(screen.pixel(x, y)) > 64)
                    return true;
            }
        }
        return false;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!SwaySession::present())
            QSKIP("needs the sway session of scripts/with-wayland-session");
        QVERIFY(m_home.isValid());
        SourcesStore::save({TCPPortConfig(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, 1)},
                           m_home.filePath(u"data/Tidewatch"_s));
        put(m_home.filePath(u"config/Tidewatch/Tidewatch.conf"_s), "[General]\nonboardingCompleted=true\n");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
        env.remove(u"DISPLAY"_s); // no way back to X11
        env.insert(u"XDG_DATA_HOME"_s, m_home.filePath(u"data"_s));
        env.insert(u"XDG_CONFIG_HOME"_s, m_home.filePath(u"config"_s));
        env.insert(u"TIDEWATCH_TEST_HOST"_s, u"1"_s); // no polls: the popover keeps one height
        m_app.setProcessEnvironment(env);
        m_app.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QVERIFY2(!trayShowsAnIcon(), "the tray is empty before the program starts");
        m_app.start(QStringLiteral(TW_BINARY_DIR "/src/app/tidewatch"), {});
        QVERIFY(m_app.waitForStarted());
    }

    void iconRegistersWithThePanel()
    {
        QTRY_VERIFY_WITH_TIMEOUT(!(m_item = itemOfTheProgram()).isEmpty(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(trayShowsAnIcon(), 10000);
        QCOMPARE(property(m_item, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, u"Title"_s).toString(),
                 u"Tidewatch"_s);
    }

    void activationOpensTheFocusedPopover()
    {
        QVERIFY(!m_item.isEmpty());
        QVERIFY(popover().isEmpty());
        activate();
        QTRY_VERIFY_WITH_TIMEOUT(popover().value(u"focused"_s).toBool(), 10000);
        const QJsonObject shown = popover();
        // A popover, not a tiled window stretched over the whole output.
        QCOMPARE(shown.value(u"type"_s).toString(), u"floating_con"_s);
        QCOMPARE(shown.value(u"rect"_s).toObject().value(u"width"_s).toInt(), 340);
        QVERIFY(shown.value(u"visible"_s).toBool());
        QTest::qWait(300); // the first frame drawn
        const QString picture = QDir(qEnvironmentVariable("TW_SCREENSHOT_DIR", QDir::tempPath()))
                                    .filePath(u"tidewatch-wayland-popover.png"_s);
        QVERIFY(SwaySession::screenshot(picture));
        qInfo("screenshot: %s", qUtf8Printable(picture));
    }

    void escapeClosesIt()
    {
        QVERIFY(popover().value(u"focused"_s).toBool());
        QVERIFY(SwaySession::key(u"Escape"_s));
        QTRY_VERIFY_WITH_TIMEOUT(popover().isEmpty(), 5000);
    }

    void focusElsewhereClosesIt()
    {
        QTest::qWait(400); // past the pause in which a click after a close does not reopen it
        activate();
        QTRY_VERIFY_WITH_TIMEOUT(popover().value(u"focused"_s).toBool(), 10000);
        // Another workspace takes the keyboard focus away, as a click into another window would.
        QVERIFY(SwaySession::command(u"workspace 2"_s));
        QTRY_VERIFY_WITH_TIMEOUT(popover().isEmpty(), 5000);
        QVERIFY(SwaySession::command(u"workspace 1"_s));
        QTest::qWait(400);
        // And it opens again.
        activate();
        QTRY_VERIFY_WITH_TIMEOUT(popover().value(u"focused"_s).toBool(), 10000);
    }

    void cleanupTestCase()
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.terminate();
            if (!m_app.waitForFinished(5000))
                m_app.kill();
        }
        // The bus answers the program's unanswered Activate calls with errors once it is gone; a
        // turn of the loop takes them in, or the calls' records outlive the test.
        QTest::qWait(100);
    }
};

QTEST_GUILESS_MAIN(WaylandPopoverTest)
#include "WaylandPopoverTest.moc"
