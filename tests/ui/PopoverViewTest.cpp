#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "support/GuiTestMain.h"
#include "support/TestData.h"
#include "support/Views.h"
#include "support/WriteBlocker.h"

#include <QAbstractItemModelTester>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

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

// The popover over a real hub whose providers are scripted.
struct Rig : PopoverRig
{
    // Every change the tests below cause is checked against the rules views rely on.
    QAbstractItemModelTester modelTester{model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest};

    using PopoverRig::PopoverRig;
    QString text(const QString &name) { return textOf(window->view()->rootObject(), name); }
    bool visible(const QString &name) { return isShown(window->view()->rootObject(), name); }
    void shot(const QString &name) { saveScreenshot(window->view()->grabWindow(), name + u".png"_s); }
};

TCPPortConfig source(const QString &name)
{
    return TCPPortConfig(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
}

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

    // The texts for each status have their own table; here, that the paused estate reaches them.
    void pausedBannerPrecedesTheRows()
    {
        const TCPPortConfig config = source(u"paused"_s);
        Rig rig({config});
        rig.providers.setWidgets(config.id, {service(1, ServiceStatus::Up), service(2, ServiceStatus::Up)});
        QVERIFY(rig.show());
        rig.state->startSync();
        QTRY_VERIFY(!rig.state->snapshots().isEmpty());
        QVERIFY(!rig.visible(u"pausedBanner"_s));
        QMetaObject::invokeMethod(findItem(rig.window->view()->rootObject(), u"popover.pause"_s), "clicked");
        QTRY_VERIFY(rig.visible(u"pausedBanner"_s));
        QCOMPARE(rig.text(u"headline"_s), u"Monitoring paused"_s);
        QCOMPARE(rig.text(u"chip"_s), u"Paused"_s);
        QCOMPARE(rig.text(u"summary"_s), u"2 services inactive"_s);
        QVERIFY(rig.visible(u"pausedLabel"_s));
        QVERIFY(!rig.visible(u"Refresh now"_s));
        QVERIFY(rig.state->isPaused());
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

    void accentAndCompactModeApplyAtOnce()
    {
        const TCPPortConfig config = source(u"one"_s);
        Rig rig({config});
        rig.providers.setWidgets(config.id, {service(1, ServiceStatus::Up), service(2, ServiceStatus::Up)});
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_VERIFY(findItem(root, u"groupHeader"_s));
        QQuickItem *brand = findItem(root, u"brand"_s);
        rig.preferences->setAccentHex(u"#EC4899"_s);
        QCOMPARE(brand->property("color").value<QColor>(), QColor(u"#EC4899"_s));

        QTest::qWait(20);
        const qreal normal = root->height();
        rig.preferences->setCompactMode(true);
        QTRY_VERIFY(root->height() < normal); // four points less per row
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

        QTRY_VERIFY(rig.preferences->widgetLayout().collapsed.contains(JsonRead::uuidText(config.id)));
        QTRY_VERIFY(int(root->height()) < expanded);
        QCOMPARE(WidgetLayout::load(*rig.settings).collapsed, rig.preferences->widgetLayout().collapsed);
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

    void offlineAndSnoozedEverythingShowBanners()
    {
        const TCPPortConfig nas = source(u"NAS"_s);
        Rig rig({nas});
        rig.providers.failWith(nas.id, u"network unreachable"_s);
        QQuickItem *root = rig.show();
        QVERIFY(root);
        rig.state->startSync();
        QTRY_COMPARE(countItems(root, u"card"_s), 1);
        QVERIFY(!rig.visible(u"hushBanner"_s));
        QCOMPARE(rig.controller->status(), u"degraded"_s);

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
        QCOMPARE(rig.text(u"headline"_s), u"No sources yet"_s);
        QVERIFY(rig.visible(u"addFirstSource"_s));
        QVERIFY(!rig.visible(u"rowList"_s));
        QCOMPARE(rig.text(u"storageText"_s),
                 u"Could not save sources.json: Permission denied. Your changes are kept while Tidewatch runs and "
                 "saved again at the next change."_s);
        QTest::qWait(100);
        rig.shot(u"popover-save-failed"_s);

        rig.state->addSource(source(u"Router"_s));
        QTRY_VERIFY(!rig.visible(u"storageBanner"_s));
    }
};

TW_GUI_TEST_MAIN(PopoverViewTest)
#include "PopoverViewTest.moc"
