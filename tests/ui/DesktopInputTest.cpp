#include "app/FileChooser.h"
#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "app/QmlWindow.h"
#include "app/SettingsController.h"
#include "kit/model/SourcesStore.h"
#include "support/Files.h"
#include "support/GuiTestMain.h"
#include "support/Views.h"
#include "support/XInput.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCompleter>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QQuickView>
#include <QScopeGuard>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

QPoint centreOf(const QQuickItem *item)
{
    return item->mapToGlobal(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

QPoint centreOf(const QWidget *widget)
{
    return widget->mapToGlobal(widget->rect().center());
}

TCPPortConfig port(const QString &name)
{
    return TCPPortConfig(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
}

// The settings window and the popover of a real hub, on the X server, driven by xdotool. The file
// dialog is the widget one: the connection given to the chooser reaches no portal.
struct Rig : AppHub
{
    std::unique_ptr<PopoverModel> rows = std::make_unique<PopoverModel>(state.get(), preferences.get());
    std::unique_ptr<PopoverController> popoverController = std::make_unique<PopoverController>(state.get(), rows.get());
    std::unique_ptr<FileChooser> chooser = std::make_unique<FileChooser>(QDBusConnection(u"no portal here"_s));
    std::unique_ptr<SettingsController> controller;
    std::unique_ptr<QmlWindow> window;
    std::unique_ptr<PopoverWindow> popover = std::make_unique<PopoverWindow>(popoverController.get(), engineGetter());

    explicit Rig(const QList<AnySourceConfig> &sources)
        : AppHub(sources)
    {
        SettingsController::Services services{
            {},
            LoginItem(dir.filePath(u"autostart/tidewatch.desktop"_s), u"/usr/bin/tidewatch"_s),
            {},
            {},
            u"1.0.0"_s,
            [this](const FileChooser::Request &request, FileChooser::Done done) {
                chooser->choose(window->view(), request, std::move(done));
            }};
        controller = std::make_unique<SettingsController>(state.get(), preferences.get(), services);
        window = std::make_unique<QmlWindow>(
            QmlWindow::Options{QUrl(u"qrc:/Tidewatch/Settings.qml"_s),
                               u"Tidewatch Settings"_s,
                               QSize(480, 540),
                               {{u"settings"_s, QVariant::fromValue<QObject *>(controller.get())}}},
            engineGetter());
    }
    ~Rig() override
    {
        popover.reset();
        window.reset();
    }

    QQuickItem *showSettings()
    {
        window->show();
        if (!QTest::qWaitForWindowExposed(window->view()))
            return nullptr;
        window->view()->setPosition(40, 40);
        QTest::qWait(100);
        return window->view()->rootObject();
    }
    QQuickItem *root() { return window->view()->rootObject(); }

    // Scrolls the General tab with the wheel until `name` is inside the window, then clicks it.
    bool clickInGeneral(const QString &name)
    {
        QQuickItem *item = findShown(root(), name);
        for (int turn = 0; item && turn < 20; ++turn) {
            const qreal bottom = item->mapToScene(QPointF(0, item->height())).y();
            if (bottom < window->view()->height() - 8)
                return XInput::click(centreOf(item));
            XInput::wheel(window->view()->mapToGlobal(QPoint(240, 300)), 3);
            QTest::qWait(150);
        }
        return false;
    }

    // Shows the settings window, clicks `button` on the General tab and returns the dialog titled
    // `title` that it opens, once that is on screen.
    QFileDialog *openFromGeneral(const QString &button, const QString &title)
    {
        if (!showSettings() || !XInput::click(centreOf(findShown(root(), u"settings.tab.General"_s)))
            || !QTest::qWaitFor([&] { return findShown(root(), button) != nullptr; }) || !clickInGeneral(button))
            return nullptr;
        return dialogTitled(title);
    }

    // The file dialog that opened over the settings window, once it is on screen.
    QFileDialog *dialogTitled(const QString &title)
    {
        for (int wait = 0; wait < 100; ++wait) {
            for (QWidget *widget : QApplication::topLevelWidgets()) {
                auto *dialog = qobject_cast<QFileDialog *>(widget);
                if (dialog && dialog->isVisible() && dialog->windowTitle() == title
                    && !XInput::windowsNamed(title).isEmpty())
                    return dialog;
            }
            QTest::qWait(50);
        }
        return nullptr;
    }

    // Types a path into the dialog's file name field and presses Return, as a user would.
    bool choose(QFileDialog *dialog, const QString &path)
    {
        auto *field = dialog->findChild<QLineEdit *>(u"fileNameEdit"_s);
        if (!field || !QTest::qWaitForWindowActive(dialog) || !XInput::click(centreOf(field)))
            return false;
        // Keys typed the moment a new dialog takes the focus can be lost on their way; a person
        // who sees nothing appear types again.
        bool typed = false;
        for (int attempt = 0; attempt < 3 && !typed; ++attempt) {
            if (!XInput::key(u"ctrl+a"_s) || !XInput::type(path))
                return false;
            typed = QTest::qWaitFor([&] { return field->text() == path; }, 2000);
        }
        if (!typed)
            return false;
        // The completer lists the folder once it is read, and then takes the first Return itself; a
        // person sees the list and presses Escape to close it first.
        QTest::qWait(300);
        const QCompleter *completer = field->completer();
        if (completer && completer->popup() && completer->popup()->isVisible()) {
            if (!XInput::key(u"Escape"_s) || !QTest::qWaitFor([&] { return !completer->popup()->isVisible(); }))
                return false;
        }
        return XInput::key(u"Return"_s);
    }
};

// The desktop portal's file chooser as a desktop runs it: it takes the request, and answers on the
// request object the handle token names, with a file, a cancel, or a failure.
class FakePortal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.FileChooser")
public:
    QDBusConnection bus;
    uint answer = 0;
    QString chosen;
    QString method;
    QString parentWindow;
    QString title;
    QVariantMap options;

    explicit FakePortal(QDBusConnection connection)
        : bus(std::move(connection))
    { }

public Q_SLOTS:
    QDBusObjectPath
    OpenFile(const QString &parent, const QString &heading, const QVariantMap &map, const QDBusMessage &call)
    {
        return take(u"OpenFile"_s, parent, heading, map, call);
    }
    QDBusObjectPath
    SaveFile(const QString &parent, const QString &heading, const QVariantMap &map, const QDBusMessage &call)
    {
        return take(u"SaveFile"_s, parent, heading, map, call);
    }

private:
    QDBusObjectPath take(const QString &name,
                         const QString &parent,
                         const QString &heading,
                         const QVariantMap &map,
                         const QDBusMessage &call)
    {
        method = name;
        parentWindow = parent;
        title = heading;
        options = map;
        QString sender = call.service().mid(1);
        sender.replace(u'.', u'_');
        const QString path =
            u"/org/freedesktop/portal/desktop/request/"_s + sender + u'/' + map.value(u"handle_token"_s).toString();
        QTimer::singleShot(50, this, [this, path] {
            QDBusMessage response =
                QDBusMessage::createSignal(path, u"org.freedesktop.portal.Request"_s, u"Response"_s);
            response << answer << QVariantMap{{u"uris"_s, QStringList{QUrl::fromLocalFile(chosen).toString()}}};
            bus.send(response);
        });
        return QDBusObjectPath(path);
    }
};

} // namespace

// The settings window and the popover as a person meets them: real pointer and key events through
// the X server, and real dialogs.
class DesktopInputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QGuiApplication::platformName() == u"xcb"_s, "needs the X server of scripts/with-session");
        QVERIFY2(XInput::run({u"version"_s}), "needs xdotool");
    }

    void exportWritesTheFileChosenInTheDialog()
    {
        Rig rig({port(u"NAS"_s), port(u"Router"_s)});
        QFileDialog *dialog = rig.openFromGeneral(u"general.export"_s, u"Export Sources"_s);
        QVERIFY2(dialog, "no dialog came up");
        // Tied to the settings window, which it blocks while it is open.
        QCOMPARE(dialog->windowHandle()->transientParent(), rig.window->view());
        QCOMPARE(dialog->acceptMode(), QFileDialog::AcceptSave);
        QCOMPARE(dialog->findChild<QLineEdit *>(u"fileNameEdit"_s)->text(), u"tidewatch-sources.json"_s);
        QTest::qWait(300);
        saveScreenshot(QGuiApplication::primaryScreen()->grabWindow(0).toImage(), u"export-dialog.png"_s);

        const QString file = rig.dir.filePath(u"exported/rack"_s);
        QDir().mkpath(rig.dir.filePath(u"exported"_s));
        QVERIFY(rig.choose(dialog, file));
        // The dialog adds the suffix the filter names.
        QTRY_VERIFY(QFile::exists(file + u".json"_s));
        QCOMPARE(contents(file + u".json"_s), SourcesStore::encode(rig.state->sources()));
        QVERIFY(rig.controller->alertTitle().isEmpty());
    }

    void importReplacesTheSourcesAfterAsking()
    {
        Rig rig({port(u"Old"_s)});
        KumaConfig kuma(QUuid::createUuid(), u"Rack Kuma"_s, u"https://kuma.lan"_s);
        kuma.passwordRef = u"kuma-secret"_s;
        const QString file = rig.dir.filePath(u"backup.json"_s);
        put(file, SourcesStore::encode({kuma, port(u"Camera"_s)}));
        QFileDialog *dialog = rig.openFromGeneral(u"general.import"_s, u"Import Sources"_s);
        QVERIFY2(dialog, "no dialog came up");
        QCOMPARE(dialog->windowHandle()->transientParent(), rig.window->view());
        QVERIFY(rig.choose(dialog, file));
        QTRY_COMPARE(rig.controller->alertTitle(), u"Replace Your Sources?"_s);
        QCOMPARE(textOf(rig.root(), u"alert.body"_s),
                 u"Tidewatch deletes 1 source and adds 2 sources from the file."_s);
        QCOMPARE(rig.state->sources().size(), 1);
        QTRY_VERIFY(findShown(rig.root(), u"alert.action"_s));
        QTest::qWait(100);
        QVERIFY(XInput::click(centreOf(findShown(rig.root(), u"alert.action"_s))));
        QTRY_COMPARE(rig.state->sources().size(), 2);
        QCOMPARE(rig.state->sources()[0].common().displayName, u"Rack Kuma"_s);
        // Secrets stay behind in the keyring they were made in: the user is told which to type again.
        QTRY_COMPARE(rig.controller->alertTitle(), u"Import Complete"_s);
        QCOMPARE(textOf(rig.root(), u"alert.body"_s),
                 u"Tidewatch now polls 2 sources. Open each of these sources and enter its password or token "
                 "again: Rack Kuma."_s);
    }

    // Where a portal runs, it is asked instead, with the settings window as the parent, and what it
    // answers is what happens: a file, a cancel, or, when it cannot show a dialog, Qt's own, whose
    // cancel says nothing either.
    void portalIsAskedForTheWindow_data()
    {
        QTest::addColumn<bool>("save");
        QTest::addColumn<uint>("answer");
        QTest::newRow("export, chosen") << true << 0u;
        QTest::newRow("export, cancelled") << true << 1u;
        QTest::newRow("import, the portal fails") << false << 2u;
    }
    void portalIsAskedForTheWindow()
    {
        QFETCH(bool, save);
        QFETCH(uint, answer);
        QDBusConnection portalBus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"fake portal"_s);
        FakePortal portal(portalBus);
        portal.answer = answer;
        QVERIFY(
            portalBus.registerObject(u"/org/freedesktop/portal/desktop"_s, &portal, QDBusConnection::ExportAllSlots));
        QVERIFY(portalBus.registerService(u"org.freedesktop.portal.Desktop"_s));
        const auto cleanup = qScopeGuard([] {
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"fake portal"_s)
                .unregisterService(u"org.freedesktop.portal.Desktop"_s);
            QDBusConnection::disconnectFromBus(u"fake portal"_s);
        });

        Rig rig({port(u"NAS"_s)});
        rig.chooser = std::make_unique<FileChooser>(QDBusConnection::sessionBus());
        QVERIFY(FileChooser::portalAvailable(QDBusConnection::sessionBus()));
        QVERIFY(rig.showSettings());
        const QString file = rig.dir.filePath(save ? u"out.json"_s : u"in.json"_s);
        portal.chosen = file;
        save ? rig.controller->exportSources() : rig.controller->importSources();
        QTRY_COMPARE(portal.method, save ? u"SaveFile"_s : u"OpenFile"_s);
        QCOMPARE(portal.parentWindow, u"x11:"_s + QString::number(rig.window->view()->winId(), 16));
        QCOMPARE(portal.title, save ? u"Export Sources"_s : u"Import Sources"_s);
        QCOMPARE(portal.options.value(u"current_name"_s).toString(), save ? u"tidewatch-sources.json"_s : QString());
        QVERIFY(portal.options.value(u"current_folder"_s).toByteArray().endsWith('\0'));
        QVERIFY(portal.options.contains(u"filters"_s));

        if (answer == 2) {
            QFileDialog *dialog = rig.dialogTitled(u"Import Sources"_s);
            QVERIFY2(dialog, "the widget dialog should stand in");
            QCOMPARE(dialog->windowHandle()->transientParent(), rig.window->view());
            dialog->reject();
            QTRY_VERIFY(!rig.chooser->isOpen());
        } else if (answer == 1) {
            QTRY_VERIFY(!rig.chooser->isOpen());
            QTest::qWait(100);
            QVERIFY(!QFile::exists(file));
        } else {
            QTRY_VERIFY(QFile::exists(file));
            QCOMPARE(SourcesStore::importFile(file).size(), 1);
        }
        QVERIFY(rig.controller->alertTitle().isEmpty());
    }

    // Polls land every few milliseconds while the row is dragged: each one changes the row's time
    // of the last answer, and the drag still ends in the new order, stored.
    void dragReordersWhilePollsArrive()
    {
        Rig rig({port(u"Alpha"_s), port(u"Beta"_s), port(u"Gamma"_s)});
        rig.state->startSync();
        QVERIFY(rig.showSettings());
        QTRY_COMPARE(rig.state->snapshots().size(), 3);
        const QList<QQuickItem *> grips = findVisible(rig.root(), u"settings.source.handle"_s);
        QCOMPARE(grips.size(), 3);

        QSignalSpy rowChanges(rig.controller->sources(), &QAbstractItemModel::dataChanged);
        QSignalSpy listResets(rig.controller->sources(), &QAbstractItemModel::modelReset);
        QTimer polls;
        int pollsDuringDrag = 0;
        QObject::connect(&polls, &QTimer::timeout, rig.state.get(), [&] {
            rig.state->refreshAll();
            ++pollsDuringDrag;
        });
        // Past the last row's grip, so the first row goes last.
        const QPoint from = centreOf(grips[0]);
        const QPoint to = centreOf(grips[2]) + QPoint(0, 30);
        polls.start(25);
        QVERIFY(XInput::press(from));
        for (int step = 1; step <= 8; ++step) {
            QVERIFY(XInput::moveTo(from + (to - from) * step / 8));
            QTest::qWait(60);
        }
        QVERIFY(XInput::release());
        QTest::qWait(100);
        polls.stop();
        QVERIFY2(rowChanges.count() + listResets.count() > 0, "no poll reached the list during the drag");
        QVERIFY(pollsDuringDrag > 4);

        const QList<AnySourceConfig> &sources = rig.state->sources();
        QCOMPARE(WidgetLayout::load(*rig.settings).orderedSourceIDs(sources),
                 (QList<QUuid>{sources[1].id(), sources[2].id(), sources[0].id()}));
        QStringList shown;
        for (QQuickItem *name : findVisible(rig.root(), u"settings.source.name"_s))
            shown.append(name->property("text").toString());
        QCOMPARE(shown, (QStringList{u"Beta"_s, u"Gamma"_s, u"Alpha"_s}));
    }

    // Three tall JSON cards are more than the popover can hold: a scroll bar shows, and the wheel
    // brings the last card into sight.
    void wheelScrollsThePopoverToTheLastCard()
    {
        QList<AnySourceConfig> sources;
        for (const QString &name : {u"Backups"_s, u"Media"_s, u"Weather"_s}) {
            const JSONWidgetConfig config(QUuid::createUuid(), name, u"http://127.0.0.1/status.json"_s, {});
            sources.append(config);
        }
        Rig rig(sources);
        for (const AnySourceConfig &source : sources) {
            QList<JSONFieldValue> fields;
            for (int i = 1; i <= 12; ++i)
                fields.append({u"Field %1"_s.arg(i), u"value %1"_s.arg(i)});
            rig.providers.setWidgets(source.id(), {KeyValues{source.common().displayName, fields}});
        }
        rig.state->startSync();
        QTRY_COMPARE(rig.state->snapshots().size(), 3);
        rig.popover->show(QRect(600, 0, 1, 1));
        QQuickView *view = rig.popover->view();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        QQuickItem *root = view->rootObject();
        QTRY_VERIFY(root->property("overflowing").toBool());
        QVERIFY(!root->property("scrolling").toBool()); // three rows: not the ten-row form
        QVERIFY(view->height() <= 580);
        QQuickItem *bar = findShown(root, u"rowsScrollBar"_s);
        QVERIFY2(bar && bar->width() > 0, "no scroll bar on show");

        QQuickItem *scroller = findShown(root, u"rowsScroller"_s);
        const QList<QQuickItem *> cards = findVisible(root, u"card"_s);
        QCOMPARE(cards.size(), 3);
        const auto lastCardBottom = [&] {
            return cards.last()->mapToItem(scroller, QPointF(0, cards.last()->height())).y();
        };
        QVERIFY2(lastCardBottom() > scroller->height(), "the last card should start out of sight");
        QVERIFY(XInput::wheel(centreOf(scroller), 15));
        QTRY_VERIFY(lastCardBottom() <= scroller->height() + 1);
        QVERIFY(rig.popover->isVisible());
        QTest::qWait(300); // the scroll bar settles
        saveScreenshot(view->grabWindow(), u"popover-scrolled.png"_s);
    }
};

int main(int argc, char *argv[])
{
    // Input must go through the X server, so this runs on it, not offscreen.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    DesktopInputTest test;
    const int failures = QTest::qExec(&test, argc, argv);
    tw::test::finishStoppedWork();
    return failures;
}

#include "DesktopInputTest.moc"
