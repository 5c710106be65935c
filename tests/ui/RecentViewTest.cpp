#include "app/PopoverController.h"
#include "kit/monitor/EventLog.h"
#include "support/GuiTestMain.h"
#include "support/Views.h"

#include <QQuickView>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

TCPPortConfig source(const QString &name)
{
    TCPPortConfig config(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
    config.alertThreshold = 1; // the first failure is an outage
    return config;
}

struct Rig : PopoverRig
{
    using PopoverRig::PopoverRig;
    QQuickItem *root() { return window->view()->rootObject(); }
    bool visible(const QString &name) { return isShown(root(), name); }
    QStringList texts(const QString &name)
    {
        QStringList list;
        for (QQuickItem *item : findVisible(root(), name))
            list.append(item->property("text").toString());
        return list;
    }
    void key(Qt::Key key) { QTest::keyClick(window->view(), key); }
};

} // namespace

// The popover's Recent view: the hub's log of the week, reached from the footer by pointer or
// keyboard, and left again the same ways.
class RecentViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsTheWeekNewestFirst()
    {
        const TCPPortConfig nas = source(u"NAS"_s), plex = source(u"Plex"_s), grafana = source(u"Grafana"_s);
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

        // The way back: the header's button.
        clickItem(findShown(rig.root(), u"recent.back"_s));
        QTRY_VERIFY(rig.visible(u"rowsScroller"_s));
        QVERIFY(!rig.visible(u"recentView"_s));
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
};

TW_GUI_TEST_MAIN(RecentViewTest)
#include "RecentViewTest.moc"
