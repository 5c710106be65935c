#include "kit/model/QuietHours.h"
#include "kit/monitor/AppState.h"
#include "kit/monitor/EventLog.h"
#include "support/Hub.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

TCPPortConfig tcp(const QString &name)
{
    TCPPortConfig config(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
    config.alertThreshold = 1; // the first failure is an outage
    return config;
}

QStringList titles(const QList<RecentEvent> &events)
{
    QStringList list;
    for (const RecentEvent &event : events)
        list.append(event.title);
    return list;
}

} // namespace

// What the hub puts in the recent events: what happened, whether or not the desktop was told, but
// not the failures of a machine that was offline or asleep and came back in time.
class AppStateEventsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void outagesAreLoggedWhateverReachesTheDesktop_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QStringList>("logged"); // newest first
        QTest::addColumn<int>("posted");
        const QStringList outage{u"NAS recovered"_s, u"NAS is unreachable"_s};
        QTest::newRow("told") << u"none"_s << outage << 2;
        QTest::newRow("source snoozed") << u"snoozed"_s << (outage + QStringList{u"NAS snoozed for 1 hour"_s}) << 0;
        QTest::newRow("quiet hours") << u"quietHours"_s << outage << 0;
        QTest::newRow("alerts off for the source") << u"alertsOff"_s << outage << 0;
        QTest::newRow("notifications off") << u"globalQuiet"_s << outage << 0;
        QTest::newRow("no recovery notices") << u"notifyOnRecovery"_s << outage << 1;
        QTest::newRow("offline, back in time") << u"offlineBackInTime"_s << QStringList{} << 0;
        QTest::newRow("asleep, back in time") << u"asleepBackInTime"_s << QStringList{} << 0;
        // Logged at the time the failure began, once it outlasted the grace period.
        QTest::newRow("offline, still failing after") << u"offlineOutlasts"_s << QStringList{outage.last()} << 1;
    }
    void outagesAreLoggedWhateverReachesTheDesktop()
    {
        QFETCH(QString, setting);
        TCPPortConfig nas = tcp(u"NAS"_s);
        nas.alertsEnabled = setting != u"alertsOff"_s;
        Hub rig({nas}, {.testHost = false});
        const QDateTime start(QDate(2026, 11, 23), QTime(3, 0), Qt::LocalTime);
        rig.clock = start.toUTC();
        QTRY_COMPARE(rig.state->snapshots().size(), 1);
        if (setting == u"snoozed"_s)
            rig.state->snoozeSource(nas.id, 3600);
        if (setting == u"quietHours"_s)
            QuietHours{true, QTime(2, 0), QTime(4, 0)}.save(*rig.settings);
        if (setting == u"globalQuiet"_s || setting == u"notifyOnRecovery"_s)
            rig.settings->setValue(setting, setting == u"globalQuiet"_s);
        const bool hushed = setting.startsWith(u"offline"_s) || setting.startsWith(u"asleep"_s);
        const auto hush = [&](bool on) {
            if (setting.startsWith(u"asleep"_s))
                rig.state->setAsleep(on);
            else
                rig.state->setNetworkOnline(!on);
        };
        if (hushed)
            hush(true);

        rig.providers.failWith(nas.id, u"connection refused"_s);
        rig.state->refreshAll();
        QTRY_VERIFY(rig.state->errors().contains(nas.id));
        // Everything fails while the machine is cut off: that is no outage of the estate.
        QCOMPARE(rig.state->overallStatus(), hushed ? OverallStatus::Unknown : OverallStatus::Degraded);
        if (hushed) {
            rig.clock = rig.clock->addSecs(600);
            if (setting.endsWith(u"BackInTime"_s))
                rig.providers.succeed(nas.id);
            const int before = rig.providers.fetchCount(nas.id);
            hush(false); // polls at once
            QTRY_COMPARE(rig.providers.fetchCount(nas.id), before + 1);
            QTRY_COMPARE(rig.state->errors().contains(nas.id), setting.endsWith(u"Outlasts"_s));
            QVERIFY(rig.state->eventLog().events().isEmpty());
            QCOMPARE(rig.state->hush(), AlertGate::Hush::WakingUp);
            rig.clock = rig.clock->addSecs(61);
            rig.state->reviewAlerts();
        } else {
            rig.clock = rig.clock->addSecs(300);
            rig.providers.succeed(nas.id);
            rig.state->refreshAll();
            QTRY_VERIFY(!rig.state->errors().contains(nas.id));
        }
        rig.state->reviewAlerts();

        const QList<RecentEvent> events = rig.state->eventLog().events();
        QCOMPARE(titles(events), TW_DATA(QStringList, logged));
        QCOMPARE(rig.posted.size(), TW_DATA(int, posted));
        for (const RecentEvent &event : events) {
            QCOMPARE(event.sourceID, nas.id);
            if (event.kind == RecentEvent::Kind::Down)
                QCOMPARE(event.time, start.toUTC());
            if (event.kind == RecentEvent::Kind::Recovered)
                QCOMPARE(event.detail, u"Back after 5 minutes"_s);
        }

        // Written at quitting, and read again at the next start.
        rig.state->flushHistory();
        rig.restart();
        QCOMPARE(rig.state->eventLog().events(), events);
    }

    // A host past its limits is an outage of its own, logged with what is past.
    void aHostPastItsLimitsIsLoggedWithWhatIsPast()
    {
        const TCPPortConfig hub = tcp(u"Beszel"_s);
        Hub rig({hub});
        HostStats host{u"h"_s, u"nas01"_s, ServiceStatus::Up, 12.0, 40.0, 94.0, {}, {u"disk 94 %"_s}};
        rig.providers.setWidgets(hub.id, {host});
        rig.state->startSync();
        QTRY_COMPARE(rig.state->eventLog().events().size(), 1);
        QCOMPARE(rig.state->eventLog().events().first().title, u"nas01 is past its limits"_s);
        QCOMPARE(rig.state->eventLog().events().first().detail, u"disk 94 %"_s);
        host.overLimits.clear();
        rig.providers.setWidgets(hub.id, {host});
        rig.state->refreshAll();
        QTRY_COMPARE(titles(rig.state->eventLog().events()),
                     (QStringList{u"nas01 is back within its limits"_s, u"nas01 is past its limits"_s}));
    }

    void snoozesThatTheUserEndsAreLogged_data()
    {
        QTest::addColumn<QString>("end");
        QTest::addColumn<QStringList>("logged");
        QTest::newRow("ended early") << u"early"_s
                                     << QStringList{u"Notifications for NAS resumed"_s, u"NAS snoozed for 2 hours"_s};
        QTest::newRow("over on time: nothing to end") << u"onTime"_s << QStringList{u"NAS snoozed for 2 hours"_s};
        QTest::newRow("the source removed") << u"removed"_s << QStringList{u"NAS snoozed for 2 hours"_s};
        QTest::newRow("everything, then resumed")
            << u"all"_s << QStringList{u"All notifications resumed"_s, u"All notifications snoozed for 30 minutes"_s};
    }
    void snoozesThatTheUserEndsAreLogged()
    {
        QFETCH(QString, end);
        const TCPPortConfig nas = tcp(u"NAS"_s);
        Hub rig({nas});
        rig.clock = QDateTime(QDate(2026, 11, 23), QTime(10, 0), Qt::UTC);
        if (end == u"all"_s) {
            rig.state->snoozeAll(1800);
            rig.state->endSnooze(std::nullopt);
        } else {
            rig.state->snoozeSource(nas.id, 7200);
            rig.clock = rig.clock->addSecs(end == u"onTime"_s ? 7200 : 600);
            if (end == u"removed"_s)
                rig.state->removeSource(nas.id);
            else
                rig.state->endSnooze(nas.id);
        }
        QCOMPARE(titles(rig.state->eventLog().events()), TW_DATA(QStringList, logged));
        QVERIFY(rig.state->snoozes().isEmpty());
    }
};

QTEST_GUILESS_MAIN(AppStateEventsTest)
#include "AppStateEventsTest.moc"
