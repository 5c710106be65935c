#include "app/OnboardingController.h"
#include "app/QmlWindow.h"
#include "app/SettingsController.h"
#include "app/SourceEditor.h"
#include "app/SourceSheetController.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
#include "support/Views.h"
#include "support/XInput.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickView>
#include <QSignalSpy>
#include <QStyleHints>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

bool key(const QString &name)
{
    const bool sent = XInput::key(name);
    QTest::qWait(60);
    return sent;
}

bool click(QQuickItem *item, int clicks = 1)
{
    if (!item)
        return false;
    // Qt pairs a press with the last one anywhere in the program into a double click: a click on the
    // spot where the previous case clicked a moment ago must wait as a person's next click would.
    static QElapsedTimer lastClick;
    const int pairing = QGuiApplication::styleHints()->mouseDoubleClickInterval() + 50;
    if (lastClick.isValid() && lastClick.elapsed() < pairing)
        QTest::qWait(static_cast<int>(pairing - lastClick.elapsed()));
    const bool sent = XInput::moveTo(item->mapToGlobal(QPointF(item->width() / 2, item->height() / 2)).toPoint())
        && XInput::run({u"click"_s, u"--repeat"_s, QString::number(clicks), u"--delay"_s, u"80"_s, u"1"_s});
    lastClick.start();
    QTest::qWait(80);
    return sent;
}

// The window gets the keyboard, as a window manager gives it to the window the user picks.
bool focus(QQuickView *view)
{
    if (!view || !QTest::qWaitForWindowExposed(view))
        return false;
    XInput::run({u"windowfocus"_s, u"--sync"_s, QString::number(view->winId())});
    return QTest::qWaitFor([&] { return view->isActive(); }, 3000);
}

// Tab through the window until the named control has the focus.
bool tabTo(QQuickView *view, const QString &name)
{
    for (int i = 0; i < 60; ++i) {
        if (view->activeFocusItem() && view->activeFocusItem()->objectName() == name)
            return true;
        key(u"Tab"_s);
    }
    return false;
}

// Pictures for a look by eye, once the window has drawn what it was last told.
void screenshot(const QString &name, QQuickView *view)
{
    QTest::qWait(150);
    saveScreenshot(view->grabWindow(), name + u".png"_s);
}

// The program's own windows and sheet over a hub with scripted providers.
struct Program : Hub
{
    std::unique_ptr<TidewatchApp> app;

    explicit Program(const QList<AnySourceConfig> &sources, TidewatchApp::LaunchOptions options = {})
        : Hub(sources)
    {
        state.reset(); // the program runs a hub of its own
        app = std::make_unique<TidewatchApp>(environment(), options);
    }
    ~Program() override
    {
        if (app->sourceEditor()->isVisible())
            app->sourceEditor()->close();
        app.reset();
    }

    QQuickView *settings()
    {
        Q_EMIT app->settingsRequested();
        return app->settingsWindow().view();
    }
    QQuickView *welcome()
    {
        Q_EMIT app->onboardingRequested();
        return app->onboardingWindow().view();
    }
    SourceEditor &editor() { return *app->sourceEditor(); }
    SourceSheetController &sheet() { return *app->sourceEditor()->controller(); }
    QQuickItem *inSheet(const QString &name) { return findShown(editor().view()->contentItem(), name); }
};

const TCPPortConfig nas(QUuid(u"{6F1C2B1E-3A4D-4C5B-8E9F-0A1B2C3D4E5F}"_s), u"NAS"_s, u"nas"_s, 22);

} // namespace

// The windows driven from outside, with real key presses and clicks through the X server, where the
// defects were about what a person's input does.
class KeyboardAndSheetInputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QGuiApplication::platformName() == u"xcb"_s, "needs the X server of scripts/with-session");
    }

    void welcomeRunsTheFocusedButton_data()
    {
        QTest::addColumn<int>("step");
        QTest::addColumn<QString>("focused"); // empty: no button has the focus
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("expected"); // -1: the window closed
        QTest::newRow("Return on Skip") << 0 << u"onboarding.back"_s << u"Return"_s << -1;
        QTest::newRow("Return on Back") << 1 << u"onboarding.back"_s << u"Return"_s << 0;
        QTest::newRow("Return on Next") << 0 << u"onboarding.next"_s << u"Return"_s << 1;
        QTest::newRow("Return with no button focused runs Next") << 1 << QString() << u"Return"_s << 2;
    }
    void welcomeRunsTheFocusedButton()
    {
        QFETCH(QString, focused);
        QFETCH(int, expected);
        Program program({});
        QQuickView *welcome = program.welcome();
        QVERIFY(focus(welcome));
        for (int i = 0; i < TW_DATA(int, step); ++i)
            program.app->onboarding().next();
        if (!focused.isEmpty())
            QVERIFY(tabTo(welcome, focused));
        QVERIFY(key(TW_DATA(QString, key)));
        if (expected < 0) {
            QTRY_VERIFY(!program.app->onboardingWindow().isVisible());
            QVERIFY(program.app->preferences().onboardingCompleted());
        } else {
            QTRY_COMPARE(program.app->onboarding().step(), expected);
            QTest::qWait(200);
            QCOMPARE(program.app->onboarding().step(), expected);
            QVERIFY(program.app->onboardingWindow().isVisible());
        }
    }

    void settingsAndSheetRunTheFocusedButton()
    {
        Program program({});
        QQuickView *settings = program.settings();
        settings->setPosition(400, 150);
        QVERIFY(focus(settings));
        QVERIFY(tabTo(settings, u"settings.tab.General"_s));
        QVERIFY(key(u"Return"_s));
        QTRY_COMPARE(settings->rootObject()->property("tab").toString(), u"general"_s);
        QVERIFY(tabTo(settings, u"settings.tab.Sources"_s));
        QVERIFY(key(u"KP_Enter"_s));
        QTRY_COMPARE(settings->rootObject()->property("tab").toString(), u"sources"_s);

        QVERIFY(tabTo(settings, u"settings.sources.addFirst"_s));
        QVERIFY(key(u"Return"_s));
        QTRY_VERIFY(program.editor().isVisible());
        QQuickView *sheet = program.editor().view();
        // The sheet belongs to the settings window, centred over it.
        QCOMPARE(sheet->transientParent(), static_cast<QWindow *>(settings));
        QVERIFY((sheet->geometry().center() - settings->geometry().center()).manhattanLength() < 8);
        QVERIFY(focus(sheet));
        QVERIFY(tabTo(sheet, u"source.kind.tcpPort"_s));
        QVERIFY(key(u"Return"_s));
        QTRY_COMPARE(program.sheet().kind(), u"tcpPort"_s);
        QVERIFY(tabTo(sheet, u"source.cancel"_s));
        QVERIFY(key(u"Return"_s));
        QTRY_VERIFY(!program.editor().isVisible());
    }

    void chooserByMouse_data()
    {
        QTest::addColumn<QStringList>("clicks"); // object names, in order; "2×" before a name double-clicks
        QTest::addColumn<QString>("kind"); // the form that opens; empty: still choosing
        QTest::addColumn<bool>("nextEnabled");
        QTest::newRow("nothing chosen") << QStringList{} << QString() << false;
        QTest::newRow("a row selects") << QStringList{u"source.kind.httpPing"_s} << QString() << true;
        QTest::newRow("another row, then Next")
            << QStringList{u"source.kind.httpPing"_s, u"source.kind.dnsRecord"_s, u"source.next"_s} << u"dnsRecord"_s
            << false;
        QTest::newRow("double click") << QStringList{u"2×source.kind.beszel"_s} << u"beszel"_s << false;
    }
    void chooserByMouse()
    {
        QFETCH(QString, kind);
        Program program({});
        QQuickView *settings = program.settings();
        QVERIFY(QTest::qWaitForWindowExposed(settings));
        program.editor().add(settings);
        QVERIFY(focus(program.editor().view()));
        for (QString name : TW_DATA(QStringList, clicks)) {
            const int clicks = name.startsWith(u"2×"_s) ? 2 : 1;
            name.remove(u"2×"_s);
            QVERIFY2(click(program.inSheet(name), clicks), qPrintable(name));
        }
        QTRY_COMPARE(program.sheet().kind(), kind);
        QCOMPARE(program.sheet().choosing(), kind.isEmpty());
        if (kind.isEmpty())
            QCOMPARE(program.inSheet(u"source.next"_s)->isEnabled(), TW_DATA(bool, nextEnabled));
        if (QTest::currentDataTag() == QByteArray("a row selects"))
            screenshot(u"source-sheet-chooser-selected"_s, program.editor().view());
    }

    // Edit asked for while the sheet holds typed input: the sheet comes forward and asks.
    void editWhileAdding_data()
    {
        QTest::addColumn<bool>("typed");
        QTest::addColumn<QString>("answer"); // how the question is answered
        QTest::addColumn<bool>("editingAfter");
        QTest::newRow("nothing typed: switches at once") << false << QString() << true;
        QTest::newRow("typed, Return keeps editing") << true << u"Return"_s << false;
        QTest::newRow("typed, Escape keeps editing") << true << u"Escape"_s << false;
        QTest::newRow("typed, Discard by mouse") << true << u"alert.action"_s << true;
    }
    void editWhileAdding()
    {
        QFETCH(bool, typed);
        QFETCH(QString, answer);
        QFETCH(bool, editingAfter);
        Program program({nas});
        // The sheet comes from the welcome window, so the settings window stays free to click in.
        QQuickView *welcome = program.welcome();
        QVERIFY(focus(welcome));
        program.app->onboarding().next();
        // The step's button is laid out at the next frame.
        QTest::qWait(300);
        QVERIFY(click(findShown(welcome->rootObject(), u"onboarding.addSource"_s)));
        QTRY_VERIFY(program.editor().isVisible());
        QCOMPARE(program.editor().view()->transientParent(), static_cast<QWindow *>(welcome));
        QVERIFY(focus(program.editor().view()));
        QVERIFY(click(program.inSheet(u"source.kind.tcpPort"_s), 2));
        QTRY_COMPARE(program.sheet().kind(), u"tcpPort"_s);
        if (typed) {
            QTest::qWait(300); // the form is laid out at the next frame
            QVERIFY(click(program.inSheet(u"source.name.input"_s)));
            QVERIFY(XInput::run({u"type"_s, u"--delay"_s, u"20"_s, u"Backup box"_s}));
            QTRY_COMPARE(program.sheet().displayName(), u"Backup box"_s);
        }

        QQuickView *settings = program.settings();
        settings->setPosition(700, 100);
        QVERIFY(focus(settings));
        QVERIFY(click(findShown(settings->rootObject(), u"settings.source.edit"_s)));
        if (!typed) {
            QTRY_VERIFY(program.sheet().editing());
            QCOMPARE(program.editor().view()->transientParent(), static_cast<QWindow *>(settings));
            return;
        }
        QTRY_VERIFY(!program.editor().question().isEmpty());
        QCOMPARE(program.editor().question(), u"Discard the source you are adding and edit “NAS” instead?"_s);
        QTRY_VERIFY(program.editor().view()->isActive());
        QVERIFY(!program.sheet().editing());
        if (answer == u"Return"_s)
            screenshot(u"source-sheet-discard-question"_s, program.editor().view());
        if (answer.startsWith(u"alert."_s))
            QVERIFY(click(program.inSheet(answer)));
        else
            QVERIFY(key(answer));
        QTRY_VERIFY(program.editor().question().isEmpty());
        QCOMPARE(program.sheet().editing(), editingAfter);
        QCOMPARE(program.sheet().displayName(), editingAfter ? u"NAS"_s : u"Backup box"_s);
        QVERIFY(program.editor().isVisible());
    }

    // A sheet over the settings window keeps that window waiting, as any dialog does.
    void settingsWaitsForItsSheet()
    {
        Program program({nas});
        QQuickView *settings = program.settings();
        QVERIFY(focus(settings));
        QVERIFY(click(findShown(settings->rootObject(), u"settings.sources.add"_s)));
        QTRY_VERIFY(program.editor().isVisible());
        QVERIFY(program.sheet().choosing());
        // Moved aside, so that the click lands on the settings window itself.
        QVERIFY(XInput::run(
            {u"windowmove"_s, u"--sync"_s, QString::number(program.editor().view()->winId()), u"700"_s, u"50"_s}));
        QVERIFY(click(findShown(settings->rootObject(), u"settings.source.edit"_s)));
        QTest::qWait(300);
        QVERIFY(program.sheet().choosing());
        QVERIFY(program.editor().question().isEmpty());
    }

    // The permission and the keyring may change while the window is away: both are read again
    // when the user comes back to it, and when it is opened again.
    void settingsReadsTheDesktopAgain()
    {
        Program program({});
        SettingsController &controller = program.app->settings();
        QSignalSpy permission(&controller, &SettingsController::permissionChanged);
        QSignalSpy keyring(&controller, &SettingsController::keyringChanged);
        QQuickView *settings = program.settings();
        QVERIFY(focus(settings));
        QTRY_VERIFY(!permission.isEmpty() && !keyring.isEmpty());
        QCOMPARE(controller.keyringText(), SecretServiceStatus::text(SecretServiceStatus::State::Unlocked));
        QTest::qWait(300);
        qsizetype reads = permission.count();
        qsizetype keyringReads = keyring.count();
        QVERIFY(focus(program.welcome()));
        QVERIFY(focus(settings));
        QTRY_VERIFY(permission.count() > reads && keyring.count() > keyringReads);
        QTest::qWait(300);
        reads = permission.count();
        keyringReads = keyring.count();
        program.app->settingsWindow().close();
        QVERIFY(focus(program.settings()));
        QTRY_VERIFY(permission.count() > reads && keyring.count() > keyringReads);
    }

    void launchArgumentEditsTheFirstSource()
    {
        const TCPPortConfig second(QUuid::createUuid(), u"Second"_s, u"pi"_s, 22);
        Program program({nas, second}, TidewatchApp::LaunchOptions::parse({u"-uiTestEditFirstSource"_s}));
        QQuickView *settings = program.settings();
        QTRY_VERIFY(program.editor().isVisible());
        QVERIFY(program.sheet().editing());
        QCOMPARE(program.sheet().displayName(), u"NAS"_s);
        QCOMPARE(program.editor().view()->transientParent(), static_cast<QWindow *>(settings));
        // Once: the window shown again later opens nothing by itself.
        program.editor().close();
        program.app->settingsWindow().close();
        program.settings();
        QTest::qWait(300);
        QVERIFY(!program.editor().isVisible());
    }
};

int main(int argc, char *argv[])
{
    // Real windows on the session's X server, whatever the test run's default platform.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    KeyboardAndSheetInputTest test;
    const int failures = QTest::qExec(&test, argc, argv);
    tw::test::finishStoppedWork();
    return failures;
}

#include "KeyboardAndSheetInputTest.moc"
