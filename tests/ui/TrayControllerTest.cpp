#include "app/TrayController.h"

#include "support/GuiTestMain.h"
#include "support/Hub.h"

#include <QApplication>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

QAction *action(QMenu *menu, const QString &text)
{
    for (QAction *candidate : menu->actions()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

} // namespace

// The tray's menu and icon over a real hub: snoozing everything from the menu, and the gray dot
// while the machine is offline.
class TrayControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void menuSnoozesEverythingAndOfflineIsGray()
    {
        const TCPPortConfig nas(QUuid::createUuid(), u"NAS"_s, u"127.0.0.1"_s, 22);
        Hub hub({nas});
        hub.providers.failWith(nas.id, u"refused"_s);
        AppState &state = *hub.state;
        TrayController tray(&state);
        state.startSync();
        QTRY_COMPARE(tray.shownStatus(), OverallStatus::Degraded);

        QMenu *snooze = action(tray.menu(), u"Snooze Notifications"_s)->menu();
        QVERIFY(snooze);
        QAction *resume = action(snooze, u"Resume Notifications"_s);
        QVERIFY(resume && !resume->isEnabled());
        action(snooze, u"For 4 Hours"_s)->trigger();
        const std::optional<Snooze> all = state.snoozeOf(std::nullopt);
        QVERIFY(all && all->until);
        QVERIFY(qAbs(QDateTime::currentDateTimeUtc().addSecs(4 * 3600).secsTo(*all->until)) < 5);
        QVERIFY(resume->isEnabled());
        QVERIFY(action(snooze, all->describe(QDateTime::currentDateTimeUtc())));
        resume->trigger();
        QVERIFY(state.snoozes().isEmpty());
        QVERIFY(!resume->isEnabled());

        // A source in trouble can be snoozed from here too, until it recovers.
        Q_EMIT snooze->aboutToShow();
        QAction *nasUntil = action(snooze, u"NAS Until It Recovers"_s);
        QVERIFY(nasUntil);
        nasUntil->trigger();
        QCOMPARE(state.snoozeOf(nas.id), (Snooze{nas.id, std::nullopt}));
        Q_EMIT snooze->aboutToShow();
        QVERIFY(!action(snooze, u"NAS Until It Recovers"_s)); // already snoozed

        state.setNetworkOnline(false);
        QCOMPARE(tray.shownStatus(), OverallStatus::Unknown);
        state.setNetworkOnline(true); // the grace period still holds it gray
        QCOMPARE(tray.shownStatus(), OverallStatus::Unknown);
    }
};

TW_GUI_TEST_MAIN(TrayControllerTest)
#include "TrayControllerTest.moc"
