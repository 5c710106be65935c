#include "app/OnboardingController.h"
#include "app/PopoverModel.h"
#include "app/QmlWindow.h"
#include "app/SettingsController.h"
#include "kit/model/JsonRead.h"
#include "kit/model/QuietHours.h"
#include "kit/model/SourcesStore.h"
#include "support/Await.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
#include "support/UiPictures.h"
#include "support/Views.h"
#include "support/WriteBlocker.h"

#include <QAbstractItemModelTester>
#include <QQuickView>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

WidgetData service(const QString &name)
{
    return ServiceRow{name, name, ServiceStatus::Up, 10.0, {}};
}

TCPPortConfig port(const QString &name)
{
    TCPPortConfig config(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
    config.alertThreshold = 1;
    return config;
}

// The settings and welcome windows over a real hub whose providers are scripted and whose
// notifications are counted.
struct Rig : AppHub
{
    std::unique_ptr<PopoverModel> popoverRows = std::make_unique<PopoverModel>(state.get(), preferences.get());
    std::unique_ptr<SettingsController> controller;
    std::unique_ptr<OnboardingController> onboarding;
    std::unique_ptr<QmlWindow> window;
    std::unique_ptr<QmlWindow> welcome;
    // The drags, deletions and imports below check both lists against the rules views rely on.
    std::optional<QAbstractItemModelTester> popoverTester, sourcesTester;

    explicit Rig(const QList<AnySourceConfig> &sources = {})
        : AppHub(sources, {.testHost = false, .deferPolling = true})
    {
        auto authorization = []() -> QCoro::Task<AlertCenter::Authorization> {
            co_return AlertCenter::Authorization::Authorized;
        };
        SettingsController::Services services{
            authorization,
            LoginItem(dir.filePath(u"autostart/tidewatch.desktop"_s), u"/usr/bin/tidewatch"_s),
            {},
            {},
            u"1.0.0"_s};
        controller = std::make_unique<SettingsController>(state.get(), preferences.get(), services);
        popoverTester.emplace(popoverRows.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        sourcesTester.emplace(controller->sources(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        onboarding = std::make_unique<OnboardingController>(state.get(), preferences.get(), authorization);
        window = std::make_unique<QmlWindow>(
            QmlWindow::Options{QUrl(u"qrc:/Tidewatch/Settings.qml"_s),
                               u"Tidewatch Settings"_s,
                               QSize(480, 540),
                               {{u"settings"_s, QVariant::fromValue<QObject *>(controller.get())}}},
            engineGetter());
        welcome = std::make_unique<QmlWindow>(
            QmlWindow::Options{QUrl(u"qrc:/Tidewatch/Onboarding.qml"_s),
                               u"Welcome to Tidewatch"_s,
                               QSize(520, 560),
                               {{u"onboarding"_s, QVariant::fromValue<QObject *>(onboarding.get())}}},
            engineGetter());
        QObject::connect(welcome.get(), &QmlWindow::shown, onboarding.get(), &OnboardingController::opened);
        QObject::connect(welcome.get(), &QmlWindow::hidden, onboarding.get(), &OnboardingController::closed);
    }
    ~Rig() override
    {
        window.reset();
        welcome.reset();
    }

    // The settings window unless told otherwise, once it is on screen.
    QQuickItem *show(QmlWindow *shown = nullptr)
    {
        shown = shown ? shown : window.get();
        shown->show();
        return QTest::qWaitForWindowExposed(shown->view()) ? shown->view()->rootObject() : nullptr;
    }
    QQuickItem *root() { return window->view()->rootObject(); }
    QString text(const QString &name) { return textOf(root(), name); }
    void click(const QString &name) { clickItem(findShown(root(), name)); }
    QStringList names(const QString &itemName)
    {
        QStringList list;
        for (QQuickItem *item : findVisible(root(), itemName))
            list.append(item->property("text").toString());
        return list;
    }
};

} // namespace

class SettingsViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void widgetsReorderAndHideWhileHiddenOnesStayListed()
    {
        const TCPPortConfig config = port(u"Kuma"_s);
        Rig rig({config});
        rig.providers.setWidgets(config.id, {service(u"db"_s), service(u"web"_s), service(u"mail"_s)});
        rig.state->startSync();
        QVERIFY(rig.show());
        QTRY_COMPARE(rig.names(u"settings.widget.name"_s), (QStringList{u"db"_s, u"web"_s, u"mail"_s}));

        // Hide "web": still listed here with its show button, gone from the popover.
        QQuickItem *eye = findVisible(rig.root(), u"settings.widget.visibility"_s)[1];
        QCOMPARE(eye->property("tip").toString(), u"Hide web"_s);
        QMetaObject::invokeMethod(eye, "clicked");
        QTRY_COMPARE(findVisible(rig.root(), u"settings.widget.visibility"_s)[1]->property("tip").toString(),
                     u"Show web"_s);
        QCOMPARE(rig.names(u"settings.widget.name"_s).size(), 3);
        QTRY_COMPARE(rig.popoverRows->data(rig.popoverRows->index(0), PopoverModel::ChildrenRole).toList().size(), 2);

        // Drag "mail" above "db", across the hidden one.
        const QList<QQuickItem *> grips = findVisible(rig.root(), u"settings.widget.handle"_s);
        const QPoint from = sceneCentre(grips[2]);
        const QPoint to = sceneCentre(grips[0]) - QPoint(0, 8);
        QTest::mousePress(rig.window->view(), Qt::LeftButton, {}, from);
        for (int step = 1; step <= 5; ++step)
            QTest::mouseMove(rig.window->view(), from + (to - from) * step / 5);
        QTest::mouseRelease(rig.window->view(), Qt::LeftButton, {}, to);
        QTRY_COMPARE(rig.names(u"settings.widget.name"_s), (QStringList{u"mail"_s, u"db"_s, u"web"_s}));
        QStringList shown;
        for (const QVariant &child :
             rig.popoverRows->data(rig.popoverRows->index(0), PopoverModel::ChildrenRole).toList())
            shown.append(child.toMap().value(u"name"_s).toString());
        QCOMPARE(shown, (QStringList{u"mail"_s, u"db"_s}));
    }

    // Whether a muted source is heard is the hub's rule; the bell switches it and it is saved.
    void bellMutesTheSource()
    {
        Rig rig({port(u"Muted"_s)});
        QVERIFY(rig.show());
        rig.click(u"settings.source.alerts"_s);
        QTRY_VERIFY(!rig.state->sources()[0].common().alertsEnabled);
        QTRY_COMPARE(findShown(rig.root(), u"settings.source.alerts"_s)->property("symbol").toString(),
                     u"bell.slash"_s);
        QCOMPARE(SourcesStore::load(rig.dir.path())[0].common().alertsEnabled, false);
    }

    // A failed save stays in view above the tabs until a later one succeeds; a failed export says why.
    void failedSavesAreShownInTheWindow()
    {
        Rig rig({port(u"Only"_s)});
        QVERIFY(rig.show());
        QVERIFY(!findShown(rig.root(), u"settings.storageProblem"_s)); // finds only what is visible
        {
            WriteBlocker blocker(WriteBlocker::Kind::ReadOnlyFolder, rig.dir.path());
            rig.click(u"settings.source.delete"_s);
            QTRY_VERIFY(findShown(rig.root(), u"settings.storageProblem"_s));
            QVERIFY2(rig.text(u"settings.storageProblemText"_s)
                         .startsWith(u"Could not save sources.json: Permission denied. Your changes are kept"_s),
                     qPrintable(rig.text(u"settings.storageProblemText"_s)));
            QVERIFY(!rig.controller->exportTo(QUrl::fromLocalFile(rig.dir.filePath(u"export.json"_s))));
            QTRY_COMPARE(rig.text(u"alert.title"_s), u"Export Failed"_s);
            QCOMPARE(rig.text(u"alert.body"_s), u"Could not save export.json: Permission denied"_s);
        }
        rig.state->addSource(port(u"Router"_s));
        QTRY_VERIFY(!findShown(rig.root(), u"settings.storageProblem"_s));
    }

    void onboardingStepsAndSourceCount()
    {
        Rig rig;
        QQuickItem *root = rig.show(rig.welcome.get());
        QVERIFY(root);
        clickItem(findShown(root, u"onboarding.next"_s));
        QTRY_COMPARE(findShown(root, u"onboarding.title"_s)->property("text").toString(), u"Add your first source"_s);
        QVERIFY(!findShown(root, u"onboarding.added"_s));
        rig.state->addSource(port(u"One"_s));
        QTRY_COMPARE(findShown(root, u"onboarding.added"_s)->property("text").toString(), u"1 source added"_s);
        rig.state->addSource(port(u"Two"_s));
        QTRY_COMPARE(findShown(root, u"onboarding.added"_s)->property("text").toString(), u"2 sources added"_s);
    }

    // Both tabs and the three welcome steps as pictures for the README and a look by eye; they go
    // to $TW_SCREENSHOT_DIR. Each must at least show the window's own colour and some text.
    void screenshots_data()
    {
        QTest::addColumn<QString>("stop");
        for (const char *stop : {"settings-sources", "settings-general", "welcome-1", "welcome-2", "welcome-3"})
            QTest::newRow(stop) << QString::fromLatin1(stop);
    }
    void screenshots()
    {
        QFETCH(QString, stop);
        TCPPortConfig nas = port(u"NAS"_s);
        TCPPortConfig router = port(u"Router SSH"_s);
        router.alertsEnabled = false;
        Rig rig({nas, router, port(u"Home Assistant"_s)});
        QQuickWindow *view = nullptr;
        if (stop.startsWith(u"settings"_s)) {
            QVERIFY(rig.show());
            if (stop == u"settings-general"_s)
                rig.click(u"settings.tab.General"_s);
            view = rig.window->view();
        } else {
            QQuickItem *root = rig.show(rig.welcome.get());
            QVERIFY(root);
            view = rig.welcome->view();
            for (int step = 1; step < stop.right(1).toInt(); ++step)
                clickItem(findShown(root, u"onboarding.next"_s));
            QTRY_COMPARE(rig.onboarding->step(), stop.right(1).toInt() - 1);
        }
        QTest::qWait(200);
        const QImage image = view->grabWindow();
        saveScreenshot(image, stop + u".png"_s);
        const qsizetype windowColour = pixelsNear(image, rig.theme->window());
        const qsizetype other = qsizetype(image.width()) * image.height() - windowColour;
        QVERIFY2(windowColour * 10 > other, "the window's own colour should show");
        QVERIFY2(other * 100 > windowColour, "something should be drawn on it");
    }

    void launchAtLoginSwitchWritesAndRemovesTheEntry()
    {
        Rig rig;
        QVERIFY(rig.show());
        rig.click(u"settings.tab.General"_s);
        const QString entry = rig.dir.filePath(u"autostart/tidewatch.desktop"_s);
        rig.click(u"general.launchAtLogin.switch"_s);
        QTRY_VERIFY(QFile::exists(entry));
        rig.click(u"general.launchAtLogin.switch"_s);
        QTRY_VERIFY(!QFile::exists(entry));
    }

    // Quiet hours: a switch that shows the window, times that are kept only when they read, and an
    // error that says what to type. The shapes switch is the tray's.
    void quietHoursAndShapesAreSetInGeneral()
    {
        Rig rig;
        QVERIFY(rig.show());
        rig.click(u"settings.tab.General"_s);
        QTRY_VERIFY(findShown(rig.root(), u"general.quietHours.switch"_s));
        QVERIFY(!findShown(rig.root(), u"general.quietHoursWindow"_s)); // only visible items are found
        rig.click(u"general.quietHours.switch"_s);
        QTRY_VERIFY(findShown(rig.root(), u"general.quietHoursWindow"_s));
        QVERIFY(rig.preferences->quietHoursEnabled());

        const auto type = [&](const QString &field, const QString &text) {
            QQuickItem *input = findShown(rig.root(), field);
            QVERIFY(input);
            input->forceActiveFocus();
            input->setProperty("text", QString());
            for (const QChar c : text)
                QTest::keyClick(rig.window->view(), c.toLatin1());
            QTest::keyClick(rig.window->view(), Qt::Key_Tab);
        };
        type(u"general.quietHoursStart"_s, u"25:00"_s);
        QTRY_VERIFY(findShown(rig.root(), u"general.quietHoursError"_s));
        QCOMPARE(QuietHours::load(*rig.settings).start, QTime(2, 0));
        type(u"general.quietHoursStart"_s, u"1:30"_s);
        QTRY_VERIFY(!findShown(rig.root(), u"general.quietHoursError"_s));
        type(u"general.quietHoursEnd"_s, u"06:15"_s);
        QTRY_COMPARE(QuietHours::load(*rig.settings), (QuietHours{true, QTime(1, 30), QTime(6, 15)}));
        QTRY_COMPARE(rig.text(u"general.quietHoursStart"_s), u"01:30"_s);
        QTest::qWait(100);
        saveScreenshot(rig.window->view()->grabWindow(), u"settings-quiet-hours.png"_s);

        QVERIFY(!rig.preferences->statusShapes());
        QQuickItem *shapes = findShown(rig.root(), u"general.statusShapes.switch"_s);
        QVERIFY(shapes);
        shapes->forceActiveFocus();
        QTest::keyClick(rig.window->view(), Qt::Key_Space);
        QTRY_VERIFY(rig.preferences->statusShapes());
    }
};

TW_GUI_TEST_MAIN(SettingsViewTest)
#include "SettingsViewTest.moc"
