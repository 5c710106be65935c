#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "app/TrayController.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/EventLog.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
#include "support/UiPictures.h"
#include "support/Views.h"
#include "support/WriteBlocker.h"

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QPalette>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

int countItems(QQuickItem *root, const QString &name)
{
    return int(findVisible(root, name).size());
}

WidgetData service(int n, ServiceStatus status)
{
    return ServiceRow{QString::number(n), u"Service %1"_s.arg(n), status, 12.5 + n, {}};
}

QAction *action(QMenu *menu, const QString &text)
{
    for (QAction *candidate : menu->actions()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

// The popover over a real hub whose providers are scripted.
struct Rig : PopoverRig
{
    // Every change the tests below cause is checked against the rules views rely on.
    QAbstractItemModelTester modelTester{model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest};

    QSignalSpy closing{controller.get(), &PopoverController::closeRequested};

    using PopoverRig::PopoverRig;
    QQuickItem *root() { return window->view()->rootObject(); }
    QString text(const QString &name) { return textOf(root(), name); }
    bool visible(const QString &name) { return isShown(root(), name); }
    QStringList texts(const QString &name, const char *property = "text")
    {
        QStringList list;
        for (QQuickItem *item : findVisible(root(), name))
            list.append(item->property(property).toString());
        return list;
    }
    QStringList rowNames()
    {
        QStringList names;
        for (QQuickItem *item : findVisible(root(), u"row"_s))
            names.append(item->property("row").toMap().value(u"name"_s).toString());
        return names;
    }
    QQuickItem *row(const QString &name) { return findVisible(root(), u"row"_s).value(rowNames().indexOf(name)); }
    void key(Qt::Key key) { QTest::keyClick(window->view(), key); }
    void shot(const QString &name) { saveScreenshot(window->view()->grabWindow(), name + u".png"_s); }
};

// Key by key, as a person types: QTest types whole strings into widgets only.
void type(QWindow *window, const char *text)
{
    for (const char *c = text; *c; ++c)
        QTest::keyClick(window, *c);
}

TCPPortConfig source(const QString &name)
{
    return TCPPortConfig(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
}

// A source whose first failure is an outage, so that one failed poll is an event.
TCPPortConfig alerting(const QString &name)
{
    TCPPortConfig config = source(name);
    config.alertThreshold = 1;
    return config;
}

KumaConfig kumaServer()
{
    KumaConfig kuma(QUuid::createUuid(), u"Homelab"_s, u"https://kuma.lan"_s);
    kuma.statusPageSlug = u"home"_s;
    return kuma;
}

// A homelab as users have it: Kuma monitors, a Beszel host past its disk limit, a game server with players, a failing
// HTTP check and a source that cannot be reached.
struct Estate
{
    QList<AnySourceConfig> sources;
    QHash<QUuid, QList<WidgetData>> widgets;
    QUuid failing;

    Estate()
    {
        const KumaConfig kuma(QUuid::createUuid(), u"Uptime Kuma"_s, u"http://kuma.lan:3001"_s);
        sources.append(kuma);
        widgets.insert(kuma.id,
                       {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 23.4, {}},
                        ServiceRow{u"2"_s, u"Home Assistant"_s, ServiceStatus::Up, 41.9, {}},
                        ServiceRow{u"3"_s, u"Nextcloud"_s, ServiceStatus::Warn, 812.0, u"slow response"_s},
                        ServiceRow{u"4"_s, u"Pi-hole"_s, ServiceStatus::Up, 4.2, {}}});
        const BeszelConfig beszel(QUuid::createUuid(), u"Beszel"_s, u"http://beszel.lan:8090"_s, u"beszel-x"_s);
        sources.append(beszel);
        widgets.insert(beszel.id,
                       {HostStats{u"nas"_s,
                                  u"nas01"_s,
                                  ServiceStatus::Up,
                                  37.2,
                                  71.5,
                                  93.1,
                                  {DriveTemp{u"sda"_s, 38}, DriveTemp{u"nvme0"_s, 52.6}},
                                  {u"disk 93 %"_s}}});
        const GameServerConfig minecraft(QUuid::createUuid(), u"Minecraft"_s, u"minecraft"_s, u"mc.lan"_s, 25565);
        sources.append(minecraft);
        widgets.insert(minecraft.id,
                       {GameServerStatus{u"mc"_s,
                                         u"Survival"_s,
                                         true,
                                         5,
                                         20,
                                         {u"Alex"_s, u"Steve"_s, u"Noor"_s, u"Kai"_s, u"Mia"_s},
                                         18.0,
                                         u"Paper 1.21.3"_s}});
        const HTTPPingConfig http(QUuid::createUuid(), u"Grafana"_s, u"https://grafana.lan"_s);
        sources.append(http);
        widgets.insert(http.id, {CheckResult{u"g"_s, u"Grafana"_s, ServiceStatus::Down, 12.0, u"HTTP 502"_s}});
        const TCPPortConfig tcp(QUuid::createUuid(), u"Backup NAS (SSH)"_s, u"10.0.0.9"_s, 22);
        sources.append(tcp);
        failing = tcp.id;
    }
};

} // namespace

class PopoverViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rowsWaitWhileNothingShowsThem()
    {
        Rig rig({source(u"NAS"_s), source(u"Printer"_s)});
        const int before = rig.model->rowCount();
        const auto first = [&] {
            return rig.model->data(rig.model->index(0), PopoverModel::RowRole).toMap();
        };
        const QVariantMap waiting = first();
        rig.model->setShown(false);
        QSignalSpy resets(rig.model.get(), &QAbstractItemModel::modelReset);
        QSignalSpy changes(rig.model.get(), &QAbstractItemModel::dataChanged);
        rig.state->startSync();
        QTRY_COMPARE(rig.state->snapshots().size(), 2);
        QCOMPARE(rig.model->rowCount(), before);
        QCOMPARE(resets.size() + changes.size(), 0);
        // Shown again: the rows are the estate's as of now, before the view draws them.
        rig.model->setShown(true);
        QCOMPARE(rig.model->rowCount(), 2);
        QCOMPARE(first().value(u"status"_s), QVariant(u"up"_s));
        QVERIFY(waiting.value(u"status"_s) != first().value(u"status"_s));
        QVERIFY(rig.show());
        QVERIFY(rig.visible(u"rowList"_s));
    }

    // The name has the first line beside the latency; the names of the players give way before the
    // count of those left out, and before the player count.
    void gameRowKeepsNameAndOverflow_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("players");
        QTest::addColumn<QString>("tail");
        QTest::addColumn<bool>("namesCut");
        QTest::newRow("five short names")
            << u"Minecraft Survival"_s << QStringList{u"Alex"_s, u"Steve"_s, u"Noor"_s, u"Kai"_s, u"Mia"_s} << u" +2"_s
            << false;
        QTest::newRow("long names give way to the count")
            << u"Minecraft Survival"_s
            << QStringList{u"Alexandria_the_Great"_s, u"Stevenson_Builder"_s, u"Noor-Elizabeth"_s, u"Kai"_s} << u" +1"_s
            << true;
    }
    void gameRowKeepsNameAndOverflow()
    {
        QFETCH(QStringList, players);
        QFETCH(QString, tail);
        const GameServerConfig config(QUuid::createUuid(), TW_DATA(QString, name), u"minecraft"_s, u"mc.lan"_s, 25565);
        Rig rig({config});
        rig.providers.setWidgets(config.id,
                                 {GameServerStatus{u"mc"_s,
                                                   TW_DATA(QString, name),
                                                   true,
                                                   qint64(players.size()),
                                                   300,
                                                   players,
                                                   18.0,
                                                   u"Paper 1.21.3"_s}});
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(rig.text(u"players"_s), u"%1/300 players"_s.arg(players.size()));
        QTRY_VERIFY(rig.visible(u"gameName"_s));
        QQuickItem *name = findItem(root, u"gameName"_s);
        QQuickItem *head = findItem(root, u"gameSubtitle"_s);
        QQuickItem *end = findItem(root, u"gameSubtitleTail"_s);
        QQuickItem *count = findItem(root, u"players"_s);
        QVERIFY(name && head && end && count);
        QCOMPARE(name->property("text").toString(), TW_DATA(QString, name));
        QVERIFY(!name->property("truncated").toBool());
        QCOMPARE(head->property("truncated").toBool(), TW_DATA(bool, namesCut));
        QCOMPARE(end->property("text").toString(), tail);
        // The count of names left out ends before the player count, with nothing drawn over it.
        const qreal tailRight = end->mapToItem(root, QPointF(end->width(), 0)).x();
        const qreal countLeft = count->mapToItem(root, QPointF(0, 0)).x();
        QVERIFY2(tailRight <= countLeft, qPrintable(u"%1 > %2"_s.arg(tailRight).arg(countLeft)));
        QVERIFY(count->mapToItem(root, QPointF(count->width(), 0)).x() <= root->width());
    }

    void tenRowsScroll_data()
    {
        QTest::addColumn<int>("widgets");
        QTest::addColumn<bool>("scrolling");
        QTest::newRow("header and eight: nine rows") << 8 << false;
        QTest::newRow("header and nine: ten rows") << 9 << true;
    }
    void tenRowsScroll()
    {
        QFETCH(int, widgets);
        const TCPPortConfig config = source(u"many"_s);
        Rig rig({config});
        QList<WidgetData> list;
        for (int i = 0; i < widgets; ++i)
            list.append(service(i, ServiceStatus::Up));
        rig.providers.setWidgets(config.id, list);
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(rig.model->flatRowCount(), widgets + 1);
        QCOMPARE(root->property("scrolling").toBool(), TW_DATA(bool, scrolling));
        if (root->property("scrolling").toBool())
            QCOMPARE(root->height(), 420.0);
        else
            QVERIFY(root->height() < 580);
    }

    void sparklineOnlyForLiveRowsWithHistory_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("polls");
        QTest::addColumn<bool>("setting");
        QTest::addColumn<bool>("shown");
        QTest::newRow("up, two values") << int(ServiceStatus::Up) << 2 << true << true;
        QTest::newRow("up, one value") << int(ServiceStatus::Up) << 1 << true << false;
        QTest::newRow("down, long history") << int(ServiceStatus::Down) << 4 << true << false;
        QTest::newRow("switched off") << int(ServiceStatus::Up) << 4 << false << false;
    }
    void sparklineOnlyForLiveRowsWithHistory()
    {
        QFETCH(int, polls);
        const TCPPortConfig config = source(u"spark"_s);
        Rig rig({config});
        rig.settings->setValue(u"showSparklines"_s, TW_DATA(bool, setting));
        rig.providers.setWidgets(config.id, {service(1, ServiceStatus(TW_DATA(int, status)))});
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QVERIFY(rig.sleeper.runUntilDelays(polls));
        QTRY_COMPARE(rig.providers.fetchCount(config.id), polls);
        QTRY_VERIFY(findItem(root, u"sparkline"_s));
        QTest::qWait(20);
        QCOMPARE(findItem(root, u"sparkline"_s)->isVisible(), TW_DATA(bool, shown));
    }

    void clickingAHeaderFoldsItAndKeepsTheLayout()
    {
        const TCPPortConfig config = source(u"kuma"_s);
        Rig rig({config});
        rig.providers.setWidgets(config.id, {service(1, ServiceStatus::Up), service(2, ServiceStatus::Down)});
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_VERIFY(findItem(root, u"groupHeader"_s));
        QTRY_COMPARE(countItems(root, u"card"_s), 1);
        QTRY_VERIFY(root->height() > 200); // header, two rows, footer
        QTest::qWait(20); // let the layout settle before aiming
        const int expanded = int(root->height());

        clickItem(findItem(root, u"groupHeader"_s));

        QTRY_VERIFY(WidgetLayout::load(*rig.settings).collapsed.contains(JsonRead::uuidText(config.id)));
        QTRY_VERIFY(int(root->height()) < expanded);
        const qreal folded = root->height();
        rig.preferences->setCompactMode(true);
        QTRY_VERIFY(root->height() < folded);
    }

    // The row's context menu silences its source, and the card says so until the snooze ends.
    void rowMenuSnoozesItsSource()
    {
        const TCPPortConfig nas = source(u"NAS"_s), plex = source(u"Plex"_s);
        Rig rig({nas, plex});
        rig.providers.failWith(nas.id, u"connection refused"_s);
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(countItems(root, u"card"_s), 2);
        QTest::qWait(20);
        QQuickItem *card = findItem(root, u"card"_s);
        QObject *menu = card->findChild<QObject *>(u"sourceMenu"_s);
        QVERIFY(menu);
        QTest::mouseClick(rig.window->view(), Qt::RightButton, {}, card->mapToScene({40, 12}).toPoint());
        QTRY_VERIFY(menu->property("opened").toBool());
        QTest::qWait(150);
        rig.shot(u"popover-snooze-menu"_s);

        auto *fourHours = menu->findChild<QQuickItem *>(u"snooze4"_s);
        QVERIFY(fourHours);
        const QDateTime before = QDateTime::currentDateTimeUtc();
        clickItem(fourHours);
        QTRY_VERIFY(rig.state->snoozeOf(nas.id).has_value());
        const QDateTime until = *rig.state->snoozeOf(nas.id)->until;
        QVERIFY(qAbs(before.addSecs(4 * 3600).secsTo(until)) < 5);
        QVERIFY(!rig.state->snoozeOf(plex.id));
        QTRY_VERIFY(rig.visible(u"snoozeLine"_s));
        QTRY_VERIFY(!menu->property("visible").toBool());
        QTest::qWait(100);
        rig.shot(u"popover-snoozed-row"_s);

        // From the keyboard: the menu key on a focused card opens the same menu.
        card->forceActiveFocus();
        QTest::keyClick(rig.window->view(), Qt::Key_Menu);
        QTRY_VERIFY(menu->property("opened").toBool());
        auto *end = menu->findChild<QQuickItem *>(u"endSnooze"_s);
        QVERIFY(end && end->isEnabled());
        clickItem(end);
        QTRY_VERIFY(!rig.state->snoozeOf(nas.id));
        QTRY_VERIFY(!rig.visible(u"snoozeLine"_s));
    }

    // The texts for each status have their own table; here, that the paused, offline and snoozed
    // estates reach the banners.
    void bannersFollowTheHubState()
    {
        const TCPPortConfig nas = source(u"NAS"_s);
        Rig rig({nas});
        rig.providers.failWith(nas.id, u"network unreachable"_s);
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(countItems(root, u"card"_s), 1);
        QVERIFY(!rig.visible(u"hushBanner"_s));
        QVERIFY(!rig.visible(u"pausedBanner"_s));
        QCOMPARE(rig.controller->status(), u"degraded"_s);

        QMetaObject::invokeMethod(findItem(root, u"popover.pause"_s), "clicked");
        QTRY_VERIFY(rig.visible(u"pausedBanner"_s));
        QCOMPARE(rig.text(u"headline"_s) + u" / "_s + rig.text(u"chip"_s), u"Monitoring paused / Paused"_s);
        QVERIFY(rig.visible(u"pausedLabel"_s));
        QVERIFY(!rig.visible(u"Refresh now"_s));
        QVERIFY(rig.state->isPaused());
        QMetaObject::invokeMethod(findItem(root, u"popover.pause"_s), "clicked");
        QTRY_VERIFY(!rig.visible(u"pausedBanner"_s));

        rig.state->setNetworkOnline(false);
        QTRY_VERIFY(rig.visible(u"hushBanner"_s));
        QCOMPARE(rig.text(u"hushText"_s), u"You're offline — checks resume when the network is back"_s);
        QCOMPARE(rig.controller->status(), u"unknown"_s);
        rig.state->snoozeAll(3600);
        QTRY_VERIFY(rig.visible(u"snoozeBanner"_s));
        QVERIFY(rig.text(u"snoozeAllText"_s).startsWith(u"Notifications snoozed until "_s));
        QTest::qWait(100);
        rig.shot(u"popover-offline"_s);

        clickItem(findItem(root, u"resumeNotifications"_s));
        QTRY_VERIFY(!rig.visible(u"snoozeBanner"_s));
        QVERIFY(rig.state->snoozes().isEmpty());
        rig.state->setNetworkOnline(true);
        QTRY_COMPARE(rig.text(u"hushText"_s), u"Reconnecting — alerts resume once the network has settled"_s);
    }

    // A save that fails is in view until the next change saves; the popover shows even an estate
    // emptied in memory, with the way in that an empty estate offers.
    void failedSaveIsShownUntilOneSucceeds()
    {
        const TCPPortConfig nas = source(u"NAS"_s);
        Rig rig({nas});
        QVERIFY(rig.show());
        QVERIFY(!rig.visible(u"storageBanner"_s));
        {
            WriteBlocker blocker(WriteBlocker::Kind::ReadOnlyFolder, rig.dir.path());
            rig.state->removeSource(nas.id);
        }
        QTRY_VERIFY(rig.visible(u"storageBanner"_s));
        QVERIFY(rig.visible(u"addFirstSource"_s));
        QCOMPARE(rig.text(u"storageText"_s),
                 u"Could not save sources.json: Permission denied. Your changes are kept while Tidewatch runs and "
                 "saved again at the next change."_s);
        QTest::qWait(100);
        rig.shot(u"popover-save-failed"_s);

        rig.state->addSource(source(u"Router"_s));
        QTRY_VERIFY(!rig.visible(u"storageBanner"_s));
    }

    // The Recent view: the hub's log of the week, reached from the footer by pointer or keyboard, and
    // kept current while it is open.
    void listsTheWeekNewestFirst()
    {
        const TCPPortConfig nas = alerting(u"NAS"_s), plex = alerting(u"Plex"_s), grafana = alerting(u"Grafana"_s);
        Rig rig({nas, plex, grafana});
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const auto at = [&](qint64 secondsAgo) {
            rig.clock = now.addSecs(-secondsAgo);
        };
        const auto poll = [&](qsizetype events) {
            rig.state->refreshAll();
            QTRY_COMPARE(rig.state->eventLog().events().size(), events);
        };
        at(26 * 3600);
        rig.state->startSync();
        QTRY_COMPARE(rig.state->snapshots().size(), 3);
        rig.providers.failWith(nas.id, u"connection refused"_s);
        poll(1);
        at(26 * 3600 - 14 * 60);
        rig.providers.succeed(nas.id);
        poll(2);
        at(3 * 3600);
        rig.state->snoozeSource(plex.id, 3600);
        at(40 * 60);
        rig.state->snoozeAll(8 * 3600);
        at(30 * 60);
        rig.state->endSnooze(std::nullopt);
        at(4 * 60);
        rig.providers.failWith(grafana.id, u"HTTP 502"_s);
        poll(6);
        rig.clock.reset();

        QVERIFY(rig.show());
        QVERIFY(rig.visible(u"rowsScroller"_s));
        QVERIFY(!rig.visible(u"recentView"_s));
        clickItem(findItem(rig.root(), u"popover.recent"_s));
        QTRY_VERIFY(rig.visible(u"recentView"_s));
        QVERIFY(!rig.visible(u"rowsScroller"_s));
        QVERIFY(!rig.visible(u"recentEmpty"_s));
        QTRY_COMPARE(rig.texts(u"recentEventTitle"_s),
                     (QStringList{u"Grafana is unreachable"_s,
                                  u"All notifications resumed"_s,
                                  u"All notifications snoozed for 8 hours"_s,
                                  u"Plex snoozed for 1 hour"_s,
                                  u"NAS recovered"_s,
                                  u"NAS is unreachable"_s}));
        QCOMPARE(rig.texts(u"recentEventTime"_s),
                 (QStringList{u"4m ago"_s, u"30m ago"_s, u"40m ago"_s, u"3h ago"_s, u"1d ago"_s, u"1d ago"_s}));
        QTest::qWait(150);
        saveScreenshot(rig.window->view()->grabWindow(), u"popover-recent-events.png"_s);

        // A new event shows up while the view is open.
        rig.providers.succeed(grafana.id);
        poll(7);
        QTRY_COMPARE(rig.texts(u"recentEventTitle"_s).value(0), u"Grafana recovered"_s);
    }

    // The keyboard lands on the newest event, or on the way back when the week is empty; typing does
    // not filter the cards behind the view; Escape, or the way back, returns to the opening button.
    void reachedAndLeftFromTheKeyboard_data()
    {
        QTest::addColumn<bool>("events");
        QTest::newRow("recent-keyboard") << true;
        QTest::newRow("recent-empty") << false;
    }
    void reachedAndLeftFromTheKeyboard()
    {
        QFETCH(bool, events);
        const TCPPortConfig nas = source(u"NAS"_s);
        Rig rig({nas});
        if (events) {
            rig.state->snoozeSource(nas.id, 3600);
            rig.state->endSnooze(nas.id);
        }
        QVERIFY(rig.show());
        QQuickItem *button = findItem(rig.root(), u"popover.recent"_s);
        QVERIFY(button);
        button->forceActiveFocus(Qt::TabFocusReason);
        rig.key(Qt::Key_Space);
        QTRY_VERIFY(rig.visible(u"recentView"_s));
        QCOMPARE(rig.visible(u"recentEmpty"_s), !events);
        auto *list = findItem(rig.root(), u"recentList"_s);
        QVERIFY(list);
        if (events) {
            QTRY_VERIFY(list->hasActiveFocus());
            QCOMPARE(list->property("currentIndex").toInt(), 0);
            rig.key(Qt::Key_Down);
            QCOMPARE(list->property("currentIndex").toInt(), 1);
        } else {
            QTRY_VERIFY(findItem(rig.root(), u"recent.back"_s)->hasActiveFocus());
        }
        QTest::qWait(100);
        saveScreenshot(rig.window->view()->grabWindow(),
                       u"popover-%1.png"_s.arg(QString::fromLatin1(QTest::currentDataTag())));
        rig.key(Qt::Key_N);
        QCOMPARE(rig.model->filter(), QString());
        rig.key(events ? Qt::Key_Escape : Qt::Key_Space);
        QTRY_VERIFY(rig.visible(u"rowsScroller"_s));
        QVERIFY(rig.window->isVisible());
        QTRY_VERIFY(button->hasActiveFocus());
    }

    // A monitor's row opens its own page on a double click, the card's menu the source's page, and
    // the popover gives way to the browser; rows without a page offer neither.
    void rowsOpenTheirPages()
    {
        const KumaConfig kuma = kumaServer();
        const TCPPortConfig port(QUuid::createUuid(), u"SSH"_s, u"127.0.0.1"_s, 22);
        Rig rig({kuma, port});
        rig.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 4, {}, u"https://plex.lan/web"_s},
                                  ServiceRow{u"2"_s, u"NAS"_s, ServiceStatus::Up, 2, {}, {}}});
        QList<QUrl> opened;
        rig.controller->setPageOpener([&opened](const QUrl &url) {
            opened.append(url);
            return true;
        });
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_VERIFY(rig.row(u"Plex"_s) && rig.row(u"SSH"_s));
        QTest::qWait(50);

        // The Plex row: a double click anywhere on it.
        QTest::mouseDClick(rig.window->view(), Qt::LeftButton, {}, sceneCentre(rig.row(u"Plex"_s)));
        QTRY_COMPARE(opened, QList<QUrl>{QUrl(u"https://plex.lan/web"_s)});
        QCOMPARE(rig.closing.size(), 1);
        QTRY_VERIFY(!rig.window->view()->isVisible());
        rig.window->show(QRect(100, 0, 22, 22));
        QVERIFY(QTest::qWaitForWindowExposed(rig.window->view()));

        // The NAS row has no page: a double click does nothing.
        QTest::mouseDClick(rig.window->view(), Qt::LeftButton, {}, sceneCentre(rig.row(u"NAS"_s)));
        QTest::qWait(100);
        QCOMPARE(opened.size(), 1);

        // The Kuma card's menu opens its status page. Which sources have one is the row links' rule.
        QQuickItem *card = findVisible(root, u"card"_s).value(0);
        QVERIFY(card);
        QCOMPARE(card->property("row").toMap().value(u"sourceId"_s).toString(),
                 kuma.id.toString(QUuid::WithoutBraces).toUpper());
        auto *menu = card->findChild<QObject *>(u"sourceMenu"_s);
        QVERIFY(menu);
        QTest::mouseClick(rig.window->view(), Qt::RightButton, {}, card->mapToScene({40, 12}).toPoint());
        QTRY_VERIFY(menu->property("opened").toBool());
        QTest::qWait(150); // the menu's entry transition
        auto *open = menu->findChild<QQuickItem *>(u"openInBrowser"_s);
        QVERIFY(open && open->isVisible());
        saveScreenshot(rig.window->view()->grabWindow(), u"popover-open-in-browser.png"_s);
        clickItem(open);
        QTRY_COMPARE(opened.size(), 2);
        QCOMPARE(opened.last(), QUrl(u"https://kuma.lan/status/home"_s));
        QTRY_VERIFY(!menu->property("visible").toBool());
    }

    // Without a mouse: typing narrows the rows by name, Escape clears that and then closes, arrows
    // move between the cards and Return opens a card's menu.
    void keyboardAloneReachesEveryRow()
    {
        const KumaConfig kuma = kumaServer();
        const TCPPortConfig ssh(QUuid::createUuid(), u"SSH"_s, u"127.0.0.1"_s, 22);
        const TCPPortConfig smb(QUuid::createUuid(), u"Samba"_s, u"127.0.0.1"_s, 445);
        Rig rig({kuma, ssh, smb});
        rig.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 4, {}, {}},
                                  ServiceRow{u"2"_s, u"Pi-hole"_s, ServiceStatus::Up, 2, {}, {}},
                                  ServiceRow{u"3"_s, u"NAS"_s, ServiceStatus::Up, 2, {}, {}}});
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(rig.rowNames().size(), 6); // a header, its three children, two single rows
        QTest::qWait(50);

        type(rig.window->view(), "p");
        QTRY_COMPARE(rig.rowNames(), (QStringList{u"Homelab"_s, u"Plex"_s, u"Pi-hole"_s}));
        QVERIFY(isShown(root, u"filterBar"_s));
        rig.key(Qt::Key_Backspace);
        QTRY_COMPARE(rig.rowNames().size(), 6);
        QVERIFY(!isShown(root, u"filterBar"_s));
        type(rig.window->view(), "S");
        QTRY_COMPARE(rig.rowNames(), (QStringList{u"Homelab"_s, u"NAS"_s, u"SSH"_s, u"Samba"_s}));
        type(rig.window->view(), "amb");
        QTRY_COMPARE(rig.rowNames(), QStringList{u"Samba"_s});
        saveScreenshot(rig.window->view()->grabWindow(), u"popover-type-to-filter.png"_s);
        type(rig.window->view(), "x");
        QTRY_VERIFY(rig.rowNames().isEmpty());
        QVERIFY(textOf(root, u"filterText"_s).startsWith(u"Nothing matches"_s));
        rig.key(Qt::Key_Escape);
        QTRY_COMPARE(rig.rowNames().size(), 6);
        QCOMPARE(rig.closing.size(), 0);

        // Down twice reaches the second card; Return opens its menu.
        rig.key(Qt::Key_Down);
        rig.key(Qt::Key_Down);
        QList<QQuickItem *> cards = findVisible(root, u"card"_s);
        QCOMPARE(cards.size(), 3);
        QTRY_VERIFY(cards.at(1)->hasActiveFocus());
        rig.key(Qt::Key_Return);
        auto *menu = cards.at(1)->findChild<QObject *>(u"sourceMenu"_s);
        QTRY_VERIFY(menu && menu->property("opened").toBool());
        rig.key(Qt::Key_Escape);
        QTRY_VERIFY(!menu->property("visible").toBool());
        rig.key(Qt::Key_Up);
        QTRY_VERIFY(cards.at(0)->hasActiveFocus());

        // A notification's "Open" lands on its source's card, whatever was typed before.
        type(rig.window->view(), "zz");
        QTRY_VERIFY(rig.rowNames().isEmpty());
        rig.controller->reveal(smb.id);
        QTRY_COMPARE(rig.rowNames().size(), 6);
        QTRY_VERIFY(findVisible(root, u"card"_s).at(2)->hasActiveFocus());

        rig.key(Qt::Key_Escape);
        QTRY_COMPARE(rig.closing.size(), 1);
    }

    // The popover as users see it, in both themes and two accents, for the README and for a look by
    // eye; each picture is also checked for the accent and the status colours.
    void render_data()
    {
        QTest::addColumn<QString>("accent");
        QTest::addColumn<bool>("dark");
        QTest::newRow("default-light") << u"#8BB8E8"_s << false;
        QTest::newRow("default-dark") << u"#8BB8E8"_s << true;
        QTest::newRow("pink-light") << u"#EC4899"_s << false;
        QTest::newRow("pink-dark") << u"#EC4899"_s << true;
    }
    void render()
    {
        QFETCH(QString, accent);
        QFETCH(bool, dark);
        const QPalette original = QGuiApplication::palette();
        if (dark) {
            QPalette palette;
            palette.setColor(QPalette::Window, QColor(0x24, 0x24, 0x28));
            palette.setColor(QPalette::WindowText, QColor(0xf2, 0xf2, 0xf5));
            palette.setColor(QPalette::Base, QColor(0x1c, 0x1c, 0x1e));
            palette.setColor(QPalette::Text, QColor(0xf2, 0xf2, 0xf5));
            palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3c));
            palette.setColor(QPalette::ButtonText, QColor(0xf2, 0xf2, 0xf5));
            QGuiApplication::setPalette(palette);
        }
        auto restore = qScopeGuard([&] { QGuiApplication::setPalette(original); });

        Estate estate;
        PopoverRig hub(estate.sources);
        for (auto it = estate.widgets.cbegin(); it != estate.widgets.cend(); ++it)
            hub.providers.setWidgets(it.key(), it.value());
        hub.providers.failWith(estate.failing, u"connection refused"_s);
        hub.preferences->setAccentHex(accent);
        hub.state->startSync();
        // Several rounds with wandering latencies, so that sparklines have a history to draw.
        for (int round = 1; round <= 8; ++round) {
            for (auto it = estate.widgets.cbegin(); it != estate.widgets.cend(); ++it) {
                QList<WidgetData> varied = it.value();
                for (WidgetData &widget : varied) {
                    const double factor = 1.0 + 0.25 * std::sin(round * 1.7 + widget.name().size());
                    std::visit(
                        [&](auto &payload) {
                            if constexpr (requires { payload.latencyMs; }) {
                                if (payload.latencyMs)
                                    payload.latencyMs = *payload.latencyMs * factor;
                            }
                        },
                        widget.payload);
                }
                hub.providers.setWidgets(it.key(), varied);
            }
            QVERIFY(hub.sleeper.runUntilDelays(round * estate.sources.size()));
        }
        QTRY_COMPARE(hub.state->snapshots().size() + hub.state->errors().size(), estate.sources.size());
        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        const QImage image = hub.window->view()->grabWindow();
        saveScreenshot(image, u"popover-%1.png"_s.arg(QString::fromLatin1(QTest::currentDataTag())));

        // The picture shows the accent (title, pills), a red incident and the window's own colour.
        QVERIFY(pixelsNear(image, QColor(accent)) > 0);
        QVERIFY(pixelsNear(image, QColor(0xe5, 0x39, 0x35)) > 0);
        QVERIFY(pixelsNear(image, hub.theme->window()) > 0);
        // The host past its disk limit says so in words, not only in amber.
        const QQuickItem *reason = findShown(root, u"overLimits"_s);
        QVERIFY(reason);
        QCOMPARE(reason->property("text").toString(), u"Past limit: disk 93 %"_s);
    }

    // What a user sees of readings that can no longer be trusted: a Kuma server out of reach keeps its
    // monitors under its error, gray and aged, and a check silent for three of its intervals shows
    // its age instead of its colour. Neither turns the tray red.
    void staleRows()
    {
        const KumaConfig kuma(QUuid::createUuid(), u"Homelab Kuma"_s, u"http://kuma.lan:3001"_s);
        HTTPPingConfig grafana(QUuid::createUuid(), u"Grafana"_s, u"https://grafana.lan"_s);
        grafana.pollInterval = 60;
        const KumaConfig office(QUuid::createUuid(), u"Office Kuma"_s, u"http://office.lan:3001"_s);
        Rig hub({kuma, grafana, office});
        // Neither health nor failure: each says so, in its colour and shape.
        hub.providers.setWidgets(
            office.id,
            {ServiceRow{u"7"_s, u"Printer"_s, ServiceStatus::Up, 3.1, {}},
             ServiceRow{u"8"_s, u"Backups"_s, ServiceStatus::Maintenance, {}, u"Nightly window"_s},
             ServiceRow{u"9"_s, u"Old wiki"_s, ServiceStatus::Paused, {}, u"Paused in Kuma (or removed)"_s}});
        hub.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Plex"_s, ServiceStatus::Up, 23.4, {}},
                                  ServiceRow{u"2"_s, u"Nextcloud"_s, ServiceStatus::Down, {}, u"HTTP 502"_s}});
        hub.providers.setWidgets(grafana.id, {CheckResult{u"g"_s, u"Grafana"_s, ServiceStatus::Down, 12.0, {}}});
        hub.providers.setFetchedAt(grafana.id, QDateTime::currentDateTimeUtc().addSecs(-12 * 60));
        hub.state->startSync();
        QTRY_COMPARE(hub.state->snapshots().size(), 3);
        hub.providers.failWith(kuma.id, u"connection refused"_s);
        hub.state->refreshAll();
        QTRY_VERIFY(hub.state->errors().contains(kuma.id));
        // An old outage of a source out of reach, and an old failed check: nothing known is down now.
        QCOMPARE(hub.state->overallStatus(), OverallStatus::Degraded);
        QCOMPARE(hub.controller->summary(), u"1 service affected"_s);

        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        const QImage image = hub.window->view()->grabWindow();
        saveScreenshot(image, u"popover-stale.png"_s);
        QCOMPARE(hub.texts(u"stateWord"_s), (QStringList{u"Maintenance"_s, u"Paused"_s}));
        QVERIFY(pixelsNear(image, QColor(0x17, 0x47, 0xf5), 1) > 0); // maintenance's own colour
        QStringList ages = hub.texts(u"staleAge"_s);
        ages.sort();
        QCOMPARE(ages, (QStringList{u"12 min old"_s, u"under a minute old"_s, u"under a minute old"_s}));
    }

    // The router goes down and everything reached through it with it: one red card, the rest gray
    // and "Behind Router", and one notification that counts them.
    void behindADownRouter()
    {
        TCPPortConfig router(QUuid::createUuid(), u"Router"_s, u"192.168.1.1"_s, 80);
        router.alertThreshold = 1;
        QList<AnySourceConfig> sources{router};
        const KumaConfig kuma(QUuid::createUuid(), u"Homelab Kuma"_s, u"http://kuma.lan:3001"_s);
        const QStringList hosts{u"NAS (SSH)"_s, u"Plex"_s, u"Home Assistant"_s};
        for (const QString &name : hosts)
            sources.append(TCPPortConfig(QUuid::createUuid(), name, u"10.0.0.9"_s, 22));
        sources.append(kuma);
        for (qsizetype i = 1; i < sources.size(); ++i) {
            sources[i].common().alertThreshold = 1;
            sources[i].common().dependsOn = router.id;
        }
        const HTTPPingConfig outside(QUuid::createUuid(), u"Public website"_s, u"https://example.com"_s);
        sources.append(outside);
        Rig hub(sources, {.testHost = false}); // its alerts are posted, to the hub's record
        hub.providers.setWidgets(kuma.id,
                                 {ServiceRow{u"1"_s, u"Jellyfin"_s, ServiceStatus::Up, 23.4, {}},
                                  ServiceRow{u"2"_s, u"Grafana"_s, ServiceStatus::Up, 40.1, {}}});
        hub.state->startSync();
        QTRY_COMPARE(hub.state->snapshots().size(), sources.size());
        for (const AnySourceConfig &source : sources.mid(0, sources.size() - 1))
            hub.providers.failWith(source.id(), u"connection refused"_s);
        // A closed port answers its poll with a down check rather than failing it.
        hub.providers.succeed(sources[2].id());
        hub.providers.setWidgets(sources[2].id(),
                                 {CheckResult{u"p"_s, u"Plex"_s, ServiceStatus::Down, {}, u"connection refused"_s}});
        hub.state->refreshAll();
        QTRY_COMPARE(hub.postedTitles(), QStringList{u"Router is down — 4 sources behind it"_s});

        QQuickItem *root = hub.show();
        QVERIFY(root);
        QTest::qWait(200);
        saveScreenshot(hub.window->view()->grabWindow(), u"popover-behind-router.png"_s);
        QCOMPARE(hub.texts(u"messageText"_s, "subtitle").count(u"Behind Router"_s), hosts.size());
    }

    // The tray's menu and icon over a real hub: snoozing everything from the menu, and the gray dot
    // while the machine is offline.
    void trayMenuSnoozesEverythingAndOfflineIsGray()
    {
        const TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, 22);
        Hub hub({nas});
        hub.providers.failWith(nas.id, u"refused"_s);
        TrayController tray(hub.state.get());
        hub.state->startSync();
        QTRY_COMPARE(tray.shownStatus(), OverallStatus::Degraded);

        QMenu *snooze = action(tray.menu(), u"Snooze Notifications"_s)->menu();
        QVERIFY(snooze);
        QAction *resume = action(snooze, u"Resume Notifications"_s);
        QVERIFY(resume && !resume->isEnabled());
        action(snooze, u"For 4 Hours"_s)->trigger();
        const std::optional<Snooze> all = hub.state->snoozeOf(std::nullopt);
        QVERIFY(all && all->until);
        QVERIFY(qAbs(QDateTime::currentDateTimeUtc().addSecs(4 * 3600).secsTo(*all->until)) < 5);
        QVERIFY(resume->isEnabled());
        QVERIFY(action(snooze, all->describe(QDateTime::currentDateTimeUtc())));
        resume->trigger();
        QVERIFY(hub.state->snoozes().isEmpty());
        QVERIFY(!resume->isEnabled());

        // A source in trouble can be snoozed from here too, until it recovers.
        Q_EMIT snooze->aboutToShow();
        QAction *nasUntil = action(snooze, u"NAS Until It Recovers"_s);
        QVERIFY(nasUntil);
        nasUntil->trigger();
        QCOMPARE(hub.state->snoozeOf(nas.id), (Snooze{nas.id, std::nullopt}));
        Q_EMIT snooze->aboutToShow();
        QVERIFY(!action(snooze, u"NAS Until It Recovers"_s)); // already snoozed

        hub.state->setNetworkOnline(false);
        QCOMPARE(tray.shownStatus(), OverallStatus::Unknown);
        hub.state->setNetworkOnline(true); // the grace period still holds it gray
        QCOMPARE(tray.shownStatus(), OverallStatus::Unknown);
    }
};

TW_GUI_TEST_MAIN(PopoverViewTest)
#include "PopoverViewTest.moc"
