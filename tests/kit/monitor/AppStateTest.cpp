#include "kit/monitor/AppState.h"

#include "kit/model/JSONFileStore.h"
#include "kit/model/QuietHours.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/EventLog.h"
#include "kit/monitor/EventLogStore.h"
#include "kit/monitor/HistoryRecorder.h"
#include "kit/monitor/HistoryStore.h"
#include "support/Files.h"
#include "support/Hub.h"
#include "support/TestData.h"
#include "support/WriteBlocker.h"

#include <QCoroTask>
#include <QSignalSpy>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

TCPPortConfig tcp(const QString &name, qint64 threshold = 1)
{
    TCPPortConfig c(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
    c.alertThreshold = threshold;
    return c;
}

GameServerConfig game(const QString &name, const QString &credential)
{
    GameServerConfig c(QUuid::createUuid(), name, u"valheim"_s, u"127.0.0.1"_s, 2456);
    c.credentialRef = credential;
    return c;
}

SourceSnapshot snapshotOf(const QUuid &id, QList<WidgetData> widgets)
{
    return {id, QDateTime::currentDateTimeUtc(), std::move(widgets)};
}

WidgetData check(ServiceStatus status, const QString &name = u"c"_s)
{
    return CheckResult{u"c"_s, name, status, {}, {}};
}

QStringList titles(const QList<RecentEvent> &events)
{
    QStringList list;
    for (const RecentEvent &event : events)
        list.append(event.title);
    return list;
}

} // namespace

class AppStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The router's one alert counts what sits behind it; when it is back, what is still down on its
    // own is polled at once and told, and what came back with it is not mentioned.
    void oneAlertForTheRouterAndWhatSitsBehindIt()
    {
        const TCPPortConfig router = tcp(u"Router"_s);
        TCPPortConfig a = tcp(u"A"_s), b = tcp(u"B"_s);
        a.dependsOn = b.dependsOn = router.id;
        Hub rig({router, a, b}, {.testHost = false});
        QTRY_COMPARE(rig.state->snapshots().size(), 3);
        rig.providers.failWith(router.id, u"connection refused"_s);
        for (const TCPPortConfig &host : {a, b})
            rig.providers.setWidgets(host.id, {check(ServiceStatus::Down, host.displayName)});
        rig.state->refreshAll();
        QTRY_VERIFY(rig.state->blockedBy(a.id) && rig.state->blockedBy(b.id));
        QTest::qWait(30);
        QCOMPARE(rig.postedTitles(), QStringList{u"Router is down — 2 sources behind it"_s});
        // The router's failed poll is a warning; the hosts' down checks count through it.
        QCOMPARE(rig.state->overallStatus(), OverallStatus::Degraded);

        rig.providers.succeed(router.id);
        rig.providers.setWidgets(b.id, {check(ServiceStatus::Up, u"B"_s)});
        const int fetchesBefore = rig.providers.fetchCount(a.id);
        rig.state->engine().refresh(router.id);
        QTRY_COMPARE(rig.postedTitles().size(), 3);
        QCOMPARE(rig.postedTitles(),
                 (QStringList{u"Router is down — 2 sources behind it"_s, u"Router recovered"_s, u"A is down"_s}));
        QCOMPARE(rig.providers.fetchCount(a.id), fetchesBefore + 1);
        QTest::qWait(30);
        QCOMPARE(rig.postedTitles().size(), 3);
        QCOMPARE(rig.state->overallStatus(), OverallStatus::Down);

        // Removed, the router leaves what sat behind it with no parent, in the file too.
        rig.state->removeSource(router.id);
        QCOMPARE(SourcesStore::load(rig.dir.path()).size(), 2);
        for (const AnySourceConfig &source : SourcesStore::load(rig.dir.path()))
            QCOMPARE(source.common().dependsOn, std::nullopt);
    }

    // A parent is down when nothing of it answers: a host past its limits still answers.
    void aParentIsDownOnlyWhenNothingOfItAnswers_data()
    {
        QTest::addColumn<ServiceStatus>("second"); // the parent's second host
        QTest::addColumn<QStringList>("posted");
        QTest::newRow("a host past its limits answers")
            << ServiceStatus::Up << QStringList{u"h1 is down"_s, u"h2 is past its limits"_s, u"Child is unreachable"_s};
        QTest::newRow("both hosts down") << ServiceStatus::Down
                                         << QStringList{u"Hub is down — 1 source behind it"_s, u"h2 is down"_s};
    }
    void aParentIsDownOnlyWhenNothingOfItAnswers()
    {
        QFETCH(ServiceStatus, second);
        QFETCH(QStringList, posted);
        const TCPPortConfig hub = tcp(u"Hub"_s);
        TCPPortConfig child = tcp(u"Child"_s);
        child.dependsOn = hub.id;
        Hub rig({hub, child}, {.testHost = false});
        QTRY_COMPARE(rig.state->snapshots().size(), 2);
        rig.providers.setWidgets(hub.id,
                                 {HostStats{u"h1"_s, u"h1"_s, ServiceStatus::Down, {}, {}, {}, {}, {}},
                                  HostStats{u"h2"_s, u"h2"_s, second, 97, {}, {}, {}, {u"cpu 97 %"_s}}});
        rig.providers.failWith(child.id, u"connection refused"_s);
        rig.state->engine().refresh(hub.id);
        QTRY_VERIFY(!rig.posted.isEmpty());
        rig.state->engine().refresh(child.id);
        QTRY_COMPARE(rig.providers.fetchCount(child.id), 2);
        QTest::qWait(30); // time for the hub to be asked again, where it is not known down

        QStringList titles = rig.postedTitles();
        titles.sort();
        posted.sort();
        QCOMPARE(titles, posted);
    }

    void effectsOfOnePollComeInOrder()
    {
        const TCPPortConfig source = tcp(u"ssh"_s);
        Hub rig({source});
        // When the alert sink runs, the history holds the poll and the sparklines have heard of it;
        // the view not yet.
        QSignalSpy polled(rig.state.get(), &AppState::polled);
        QList<QString> seen;
        rig.state->setAlertEventsSink([&](const QList<AlertEvent> &) {
            const QString key = FakeProviders::widgetFor(source, 1).widgetKey(source.id);
            seen << (polled.size() == 1 ? u"latency"_s : u"-"_s)
                 << (rig.state->historyRecorder().history().samples.contains(key) ? u"history"_s : u"-"_s)
                 << (rig.state->snapshots().isEmpty() ? u"unpublished"_s : u"-"_s);
        });
        QSignalSpy published(rig.state.get(), &AppState::snapshotsChanged);
        rig.state->startSync();
        QTRY_COMPARE(published.size(), 1);
        QCOMPARE(seen, (QList<QString>{u"latency"_s, u"history"_s, u"unpublished"_s}));
    }

    void removalWhilePausedWaitsForTheResume()
    {
        const TCPPortConfig a = tcp(u"a"_s);
        const TCPPortConfig b = tcp(u"b"_s);
        Hub rig({a, b});
        rig.state->startSync();
        QTRY_COMPARE(rig.state->snapshots().size(), 2);
        rig.state->togglePaused();
        rig.state->removeSource(a.id);
        rig.state->refreshAll();
        QTest::qWait(20);
        QVERIFY(rig.state->snapshots().contains(a.id)); // the engine has not been told yet
        QCOMPARE(rig.providers.fetchCount(b.id), 1);
        rig.state->togglePaused();
        QTRY_VERIFY(!rig.state->snapshots().contains(a.id));
        QTRY_COMPARE(rig.providers.fetchCount(b.id), 2); // resuming polls every source at once
    }

    // Each source's checks, "|" between sources; "!" alone is a source that failed with nothing
    // before, "!" in front of checks a failing source whose last snapshot they are.
    void overallStatus_data()
    {
        QTest::addColumn<QString>("estate");
        QTest::addColumn<OverallStatus>("expected");
        QTest::newRow("nothing") << QString() << OverallStatus::Unknown;
        QTest::newRow("all up") << u"up up|up"_s << OverallStatus::Up;
        QTest::newRow("warn after up") << u"up warn up"_s << OverallStatus::Degraded;
        QTest::newRow("down beats warn") << u"warn|down"_s << OverallStatus::Down;
        QTest::newRow("down beats an error") << u"down|!"_s << OverallStatus::Down;
        QTest::newRow("up and an error") << u"up|!"_s << OverallStatus::Degraded;
        QTest::newRow("maintenance and paused count neither way") << u"maintenance paused"_s << OverallStatus::Unknown;
        QTest::newRow("a failing source's old outage is no outage now") << u"!down|up"_s << OverallStatus::Degraded;
    }
    void overallStatus()
    {
        const QHash<QString, ServiceStatus> statuses{{u"up"_s, ServiceStatus::Up},
                                                     {u"warn"_s, ServiceStatus::Warn},
                                                     {u"down"_s, ServiceStatus::Down},
                                                     {u"maintenance"_s, ServiceStatus::Maintenance},
                                                     {u"paused"_s, ServiceStatus::Paused}};
        QHash<QUuid, SourceSnapshot> snapshots;
        QHash<QUuid, QString> errors;
        for (QString source : TW_DATA(QString, estate).split(u'|', Qt::SkipEmptyParts)) {
            const QUuid id = QUuid::createUuid();
            if (source.startsWith(u'!'))
                errors.insert(id, u"timed out"_s);
            QList<WidgetData> widgets;
            for (const QString &word : source.mid(source.startsWith(u'!')).split(u' ', Qt::SkipEmptyParts)) {
                QVERIFY2(statuses.contains(word), qPrintable(word));
                widgets.append(check(statuses.value(word)));
            }
            if (!widgets.isEmpty())
                snapshots.insert(id, snapshotOf(id, widgets));
        }
        QCOMPARE(AppState::overallStatus(false, snapshots, errors), TW_DATA(OverallStatus, expected));
    }

    // A write that fails is shown until a later write of the same file succeeds; what it held stays
    // in memory meanwhile, and the later write saves it. A change whose save of sources.json fails
    // must not take the secrets of the sources still in the file: only the next save that succeeds
    // lets the dropped ones go.
    void failedWriteIsShownAndTriedAgain_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("deletedAfterRetry");
        QTest::newRow("preferences") << u"prefs.json"_s << QStringList{};
        QTest::newRow("history, written again at quitting") << u"history.json"_s << QStringList{};
        QTest::newRow("recent events") << u"events.json"_s << QStringList{};
        QTest::newRow("sources, a secret replaced") << u"sources.json"_s << QStringList{u"gameServer-old"_s};
        QTest::newRow("sources, all imported anew")
            << u"sources.json"_s << QStringList{u"gameServer-old"_s, u"gameServer-other"_s};
    }
    void failedWriteIsShownAndTriedAgain()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, deletedAfterRetry);
        GameServerConfig server = game(u"palworld"_s, u"gameServer-old"_s);
        Hub rig({server, game(u"other"_s, u"gameServer-other"_s)});
        const QStringList secrets{u"gameServer-old"_s, u"gameServer-new"_s, u"gameServer-other"_s};
        for (const QString &name : secrets)
            QCoro::waitFor(rig.credentials->write(name, u"secret"_s));
        if (file == u"history.json"_s)
            rig.state->historyRecorder().record(
                snapshotOf(server.id, {check(ServiceStatus::Up)}),
                [](const WidgetData &widget) { return widget.status(); },
                [](const WidgetData &) { return std::optional<double>(3.0); });
        if (file == u"events.json"_s)
            rig.state->eventLog().record(
                RecentEvent::ofSnoozeEnd(server.id, u"Pal"_s, QDateTime::currentDateTimeUtc()));
        const QString sourcesFile = SourcesStore::sourcesPath(rig.dir.path());
        const QByteArray sources = contents(sourcesFile);
        // What failed is written again with nothing new to write; sources.json at the next change.
        const auto write = [&](bool again) {
            if (file == u"prefs.json"_s) {
                rig.state->snoozeSource(server.id, again ? 7200 : 3600);
            } else if (file != u"sources.json"_s) {
                rig.state->flushHistory();
            } else if (again) {
                rig.state->addSource(tcp(u"later"_s));
            } else if (deletedAfterRetry.size() == 1) {
                server.credentialRef = u"gameServer-new"_s;
                rig.state->updateSource(server);
            } else {
                rig.state->replaceSources({game(u"imported"_s, u"gameServer-new"_s)});
            }
        };
        QSignalSpy problem(rig.state.get(), &AppState::storageProblemChanged);
        {
            WriteBlocker blocker(WriteBlocker::Kind::ReadOnlyFolder, rig.dir.path());
            write(false);
            QCOMPARE(problem.size(), 1);
            QVERIFY2(rig.state->storageProblem().startsWith(u"Could not save %1: %2"_s.arg(file, blocker.reason())),
                     qPrintable(rig.state->storageProblem()));
            QCOMPARE(rig.state->snoozes().size(), file == u"prefs.json"_s ? 1 : 0);
            QCOMPARE(rig.state->pendingCredentialDeletions(), 0);
        }
        QTest::qWait(20);
        for (const QString &name : secrets)
            QVERIFY2(rig.hasSecret(name), qPrintable(name));
        QCOMPARE(contents(sourcesFile), sources);

        write(true);
        QCOMPARE(problem.size(), 2);
        QCOMPARE(rig.state->storageProblem(), QString());
        if (file == u"prefs.json"_s)
            QCOMPARE(Snooze::load(PreferenceStore(rig.dir.filePath(file))), rig.state->snoozes());
        else if (file == u"history.json"_s)
            QCOMPARE(HistoryStore::load(rig.dir.path()).samples.size(), 1);
        else if (file == u"events.json"_s)
            QCOMPARE(EventLogStore::load(rig.dir.path()), rig.state->eventLog().events());
        else
            QCOMPARE(SourcesStore::load(rig.dir.path()), rig.state->sources());
        for (const QString &name : secrets) {
            if (deletedAfterRetry.contains(name))
                QTRY_VERIFY2(!rig.hasSecret(name), qPrintable(name));
            else
                QVERIFY2(rig.hasSecret(name), qPrintable(name));
        }
    }

    // Another program edits sources.json while the hub runs: the hub takes the file up rather than
    // overwriting it at its next save, and its own saves start nothing.
    void outsideEditsOfTheFileAreTakenUp_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QStringList>("names"); // the hub's list afterwards
        QTest::addColumn<QStringList>("polled"); // sources polled because of the edit
        QTest::newRow("a source removed") << u"remove"_s << QStringList{u"NAS"_s} << QStringList{};
        QTest::newRow("written in place, not replaced")
            << u"inPlace"_s << QStringList{u"NAS"_s, u"Plex"_s, u"Pi"_s} << QStringList{u"Pi"_s};
        QTest::newRow("unreadable: moved aside, list kept")
            << u"corrupt"_s << QStringList{u"NAS"_s, u"Plex"_s} << QStringList{};
    }
    void outsideEditsOfTheFileAreTakenUp()
    {
        QFETCH(QString, edit);
        const TCPPortConfig nas = tcp(u"NAS"_s), plex = tcp(u"Plex"_s), pi = tcp(u"Pi"_s);
        Hub rig({nas, plex}, {.followSourcesFile = true});
        rig.state->startSync();
        QTRY_COMPARE(rig.state->snapshots().size(), 2);
        QSignalSpy changed(rig.state.get(), &AppState::sourcesChanged);
        const QString path = SourcesStore::sourcesPath(rig.dir.path());

        // One of its own saves first: nothing is taken up, nothing restarts.
        TCPPortConfig quieter = nas;
        quieter.alertThreshold = 3;
        rig.state->updateSource(quieter);
        QTRY_COMPARE(rig.providers.fetchCount(nas.id), 2);
        QTest::qWait(400);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(rig.providers.fetchCount(nas.id), 2);
        QCOMPARE(rig.providers.fetchCount(plex.id), 1);

        const QHash<QUuid, int> before{{nas.id, 2}, {plex.id, 1}, {pi.id, 0}};
        if (edit == u"remove"_s)
            SourcesStore::save({quieter}, rig.dir.path());
        else
            put(path, edit == u"corrupt"_s ? QByteArray("[{\"tcpPort\": ") : SourcesStore::encode({quieter, plex, pi}));
        if (edit == u"corrupt"_s)
            QTRY_VERIFY(QFile::exists(SourcesStore::corruptPath(rig.dir.path())));
        else
            QTRY_COMPARE(changed.size(), 2);
        QStringList names;
        for (const AnySourceConfig &source : rig.state->sources())
            names << source.common().displayName;
        QCOMPARE(names, TW_DATA(QStringList, names));

        QTest::qWait(300); // a fake poll answers on a later turn; the settling of the watch is over
        QCOMPARE(changed.size(), edit == u"corrupt"_s ? 1 : 2);
        QStringList polled;
        for (const auto &[id, name] : {std::pair{nas.id, u"NAS"_s}, {plex.id, u"Plex"_s}, {pi.id, u"Pi"_s}}) {
            if (rig.providers.fetchCount(id) > before.value(id))
                polled << name;
        }
        QCOMPARE(polled, TW_DATA(QStringList, polled));
        if (edit == u"remove"_s)
            QTRY_VERIFY(!rig.state->snapshots().contains(plex.id));
        if (edit == u"corrupt"_s) {
            QCOMPARE(SourcesStore::load(rig.dir.path()), rig.state->sources()); // written again
        } else {
            QCOMPARE(JSONFileStore::readBounded(path), SourcesStore::encode(rig.state->sources()));
        }
    }

    // What the hub puts in the recent events: what happened, whether or not the desktop was told, but
    // not the failures of a machine that was offline or asleep and came back in time.
    void outagesAreLoggedWhateverReachesTheDesktop_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QStringList>("logged"); // newest first
        QTest::addColumn<int>("posted");
        const QStringList outage{u"NAS recovered"_s, u"NAS is unreachable"_s};
        QTest::newRow("told") << u"none"_s << outage << 2;
        QTest::newRow("source snoozed") << u"snoozed"_s << (outage + QStringList{u"NAS snoozed for 1 hour"_s}) << 0;
        QTest::newRow("snoozed until it recovers, which ends it")
            << u"snoozedUntilRecovery"_s << (outage + QStringList{u"NAS snoozed until it recovers"_s}) << 0;
        QTest::newRow("quiet hours") << u"quietHours"_s << outage << 0;
        QTest::newRow("quiet hours, still down at their end: one summary")
            << u"quietHoursOutlasts"_s << QStringList{outage.last()} << 1;
        QTest::newRow("alerts off for the source") << u"alertsOff"_s << outage << 0;
        QTest::newRow("notifications off") << u"globalQuiet"_s << outage << 0;
        QTest::newRow("no recovery notices") << u"notifyOnRecovery"_s << outage << 1;
        QTest::newRow("recovery switch not a boolean: its default") << u"notABoolean"_s << outage << 2;
        QTest::newRow("asleep, back in time") << u"asleepBackInTime"_s << QStringList{} << 0;
        // Logged at the time the failure began, once it outlasted the grace period.
        QTest::newRow("offline, still failing after") << u"offlineOutlasts"_s << QStringList{outage.last()} << 1;
        // A held failure is asked again at its release whether its source still wants alerts.
        QTest::newRow("offline, muted before the release")
            << u"offlineOutlastsMuted"_s << QStringList{outage.last()} << 0;
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
        if (setting.startsWith(u"snoozed"_s))
            rig.state->snoozeSource(nas.id, setting == u"snoozed"_s ? std::optional<qint64>(3600) : std::nullopt);
        if (setting.startsWith(u"quietHours"_s))
            QuietHours{true, QTime(2, 0), QTime(4, 0)}.save(*rig.settings);
        if (setting == u"globalQuiet"_s || setting == u"notifyOnRecovery"_s)
            rig.settings->setValue(setting, setting == u"globalQuiet"_s);
        if (setting == u"notABoolean"_s)
            rig.settings->setValue(u"notifyOnRecovery"_s, u"no"_s);
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
            QTRY_COMPARE(rig.state->errors().contains(nas.id), setting.contains(u"Outlasts"_s));
            QVERIFY(rig.state->eventLog().events().isEmpty());
            QCOMPARE(rig.state->hush(), AlertGate::Hush::WakingUp);
            if (setting.endsWith(u"Muted"_s)) {
                nas.alertsEnabled = false;
                rig.state->updateSource(nas);
            }
            rig.clock = rig.clock->addSecs(61);
            rig.state->reviewAlerts();
        } else if (setting.endsWith(u"Outlasts"_s)) {
            rig.clock = rig.clock->addSecs(3600);
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
        for (const auto &[alert, sound] : std::as_const(rig.posted))
            QVERIFY(sound); // alerts sound unless the user turns that off
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
        if (setting == u"snoozed"_s) { // the snooze outlives the run too, and ends by itself on time
            QCOMPARE(rig.state->snoozeOf(nas.id), (Snooze{nas.id, start.toUTC().addSecs(3600)}));
            rig.clock = start.toUTC().addSecs(3600);
            rig.state->reviewAlerts();
        }
        QVERIFY(Snooze::load(*rig.settings).isEmpty());
    }

    // Only a snooze the user ends early is logged as ended: one over on time, or one whose source
    // went, had nothing left to end.
    void snoozesThatTheUserEndsAreLogged()
    {
        const TCPPortConfig early = tcp(u"NAS"_s), removed = tcp(u"Plex"_s), onTime = tcp(u"Pi"_s);
        Hub rig({early, removed, onTime});
        rig.clock = QDateTime(QDate(2026, 11, 23), QTime(10, 0), Qt::UTC);
        for (const TCPPortConfig &source : {early, removed, onTime})
            rig.state->snoozeSource(source.id, 7200);
        rig.clock = rig.clock->addSecs(600);
        rig.state->endSnooze(early.id);
        rig.state->removeSource(removed.id);
        rig.clock = rig.clock->addSecs(7200);
        rig.state->endSnooze(onTime.id);
        QCOMPARE(titles(rig.state->eventLog().events()),
                 (QStringList{u"Notifications for NAS resumed"_s,
                              u"Pi snoozed for 2 hours"_s,
                              u"Plex snoozed for 2 hours"_s,
                              u"NAS snoozed for 2 hours"_s}));
        QVERIFY(rig.state->snoozes().isEmpty());
        // The removal polled the two left; their answers land before the hub goes.
        QTRY_COMPARE(rig.state->snapshots().size(), 2);
    }
};

QTEST_GUILESS_MAIN(AppStateTest)
#include "AppStateTest.moc"
