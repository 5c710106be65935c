#include "kit/monitor/EventLog.h"

#include "kit/model/JsonRead.h"
#include "kit/monitor/EventLogStore.h"
#include "kit/monitor/HistoryRecorder.h"
#include "kit/monitor/HistoryStore.h"
#include "support/Files.h"
#include "support/ManualSleeper.h"
#include "support/TestData.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
const QUuid nasID = QUuid::createUuid();

// An event `age` seconds before t0, named after its age so that an order reads as a list of ages.
RecentEvent aged(qint64 age, RecentEvent::Kind kind = RecentEvent::Kind::Down)
{
    return {t0.addSecs(-age), kind, QString::number(age), {}, {}};
}

QStringList titles(const QList<RecentEvent> &events)
{
    QStringList list;
    for (const RecentEvent &event : events)
        list.append(event.title);
    return list;
}

SourceSnapshot snapshotAt(const QUuid &id, const QDateTime &time, double latency)
{
    return {id, time, {CheckResult{u"c"_s, u"check"_s, ServiceStatus::Up, latency, {}}}};
}

void record(HistoryRecorder &recorder, const SourceSnapshot &snapshot)
{
    recorder.record(
        snapshot,
        [](const WidgetData &w) { return w.status(); },
        [](const WidgetData &w) { return w.latencyMs(); });
}

} // namespace

// What is kept of the past on disk: the recent events and the latency history.
class EventLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Events are kept newest first, samples in their order; both for a week, and only so many.
    void trimmedToAWeek_data()
    {
        QTest::addColumn<QList<qint64>>("ages"); // seconds before the reference, in the file's order
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<int>("samples");
        QTest::newRow("exactly seven days is kept")
            << QList<qint64>{604800, 10} << QStringList{u"10"_s, u"604800"_s} << 2;
        QTest::newRow("one second older goes") << QList<qint64>{604801, 10} << QStringList{u"10"_s} << 1;
        QTest::newRow("a clock set back: the future stays on top")
            << QList<qint64>{10, -60} << QStringList{u"-60"_s, u"10"_s} << 2;
        QList<qint64> many;
        QStringList newest;
        for (int age = 1200; age >= 1; --age) {
            many.append(age);
            if (age <= 1000)
                newest.prepend(QString::number(age));
        }
        QTest::newRow("the newest thousand events, five hundred samples") << many << newest << 500;
    }
    void trimmedToAWeek()
    {
        QList<RecentEvent> events;
        QList<HistorySample> samples;
        for (const qint64 age : TW_DATA(QList<qint64>, ages)) {
            events.append(aged(age));
            samples.append({t0.addSecs(-age), double(age), ServiceStatus::Up});
        }
        QCOMPARE(titles(EventLog::trimmed(events, t0)), TW_DATA(QStringList, events));
        const QList<HistorySample> kept = HistoryRecorder::trimmed(samples, t0);
        QCOMPARE(kept.size(), qsizetype(TW_DATA(int, samples)));
        QCOMPARE(kept.last(), samples.last());
    }

    // An outage held while the machine woke up is logged late, at the time it began. Of one second,
    // the later event goes on top, and a sort keeps it there.
    void insertedFindsItsPlace_data()
    {
        QTest::addColumn<qint64>("age");
        QTest::addColumn<QString>("order");
        QTest::newRow("newest") << qint64(1) << u"new 10 60 100"_s;
        QTest::newRow("between") << qint64(50) << u"10 new 60 100"_s;
        QTest::newRow("the same second") << qint64(60) << u"10 new 60 100"_s;
        QTest::newRow("oldest") << qint64(500) << u"10 60 100 new"_s;
    }
    void insertedFindsItsPlace()
    {
        RecentEvent event = aged(TW_DATA(qint64, age));
        event.title = u"new"_s;
        const QList<RecentEvent> events = EventLog::inserted({aged(10), aged(60), aged(100)}, event);
        QCOMPARE(titles(events).join(u' '), TW_DATA(QString, order));
        QCOMPARE(EventLog::trimmed(events, t0), events);
    }

    // An outage is logged at the time it began, anything else now; a recovery says how long it took.
    void texts_data()
    {
        QTest::addColumn<RecentEvent>("event");
        QTest::addColumn<QString>("text"); // kind, seconds after now, whose: title | detail
        const auto alert = [](AlertEvent::Kind kind,
                              const QString &title,
                              qint64 minutesAgo,
                              const std::optional<QString> &detail = std::nullopt) {
            return RecentEvent::ofAlert({nasID, kind, title, t0.addSecs(-60 * minutesAgo), u"k"_s, detail}, t0);
        };
        using A = AlertEvent::Kind;
        QTest::newRow("down at the time it began, with what is past")
            << alert(A::Down, u"nas01 is past its limits"_s, 3, u"disk 94 %"_s)
            << u"down -180 NAS: nas01 is past its limits | disk 94 %"_s;
        QTest::newRow("recovery now, with its length")
            << alert(A::Recovered, u"NAS recovered"_s, 125)
            << u"recovered 0 NAS: NAS recovered | Back after 2 hours 5 minutes"_s;
        QTest::newRow("a quick recovery") << alert(A::Recovered, u"Plex recovered"_s, 0)
                                          << u"recovered 0 NAS: Plex recovered | Back after less than a minute"_s;
        QTest::newRow("days and hours") << alert(A::Recovered, u"NAS recovered"_s, 60 * 50 + 30)
                                        << u"recovered 0 NAS: NAS recovered | Back after 2 days 2 hours"_s;
        QTest::newRow("a source for an hour") << RecentEvent::ofSnooze({nasID, t0.addSecs(3600)}, u"NAS"_s, t0)
                                              << u"snoozed 0 NAS: NAS snoozed for 1 hour | "_s;
        QTest::newRow("a source until it recovers") << RecentEvent::ofSnooze({nasID, std::nullopt}, u"NAS"_s, t0)
                                                    << u"snoozed 0 NAS: NAS snoozed until it recovers | "_s;
        QTest::newRow("everything") << RecentEvent::ofSnooze({std::nullopt, t0.addSecs(4 * 3600)}, {}, t0)
                                    << u"snoozed 0 all: All notifications snoozed for 4 hours | "_s;
        QTest::newRow("a source's snooze ended") << RecentEvent::ofSnoozeEnd(nasID, u"NAS"_s, t0)
                                                 << u"snoozeEnded 0 NAS: Notifications for NAS resumed | "_s;
        QTest::newRow("every snooze ended")
            << RecentEvent::ofSnoozeEnd(std::nullopt, {}, t0) << u"snoozeEnded 0 all: All notifications resumed | "_s;
    }
    void texts()
    {
        const RecentEvent event = TW_DATA(RecentEvent, event);
        const QString whose = event.sourceID == nasID ? u"NAS"_s : event.sourceID.isNull() ? u"all"_s : u"?"_s;
        QCOMPARE(u"%1 %2 %3: %4 | %5"_s.arg(toText(event.kind))
                     .arg(t0.secsTo(event.time))
                     .arg(whose, event.title, event.detail),
                 TW_DATA(QString, text));
    }

    void fileRoundTrip()
    {
        using K = RecentEvent::Kind;
        const QList<RecentEvent> events{
            {HistoryStore::fromReferenceSeconds(86400.5),
             K::Recovered,
             u"NAS recovered"_s,
             u"Back after 3 minutes"_s,
             QUuid::createUuid()},
            {HistoryStore::fromReferenceSeconds(60), K::Snoozed, u"All notifications snoozed for 1 hour"_s, {}, {}},
            {HistoryStore::fromReferenceSeconds(0.125), K::Down, u"NAS is down"_s, {}, {}},
        };
        QCOMPARE(EventLogStore::decode(EventLogStore::encode(events)), events);
        QCOMPARE(
            EventLogStore::encode({events[1]}),
            QByteArray(R"({"events":[{"kind":"snoozed","time":60,"title":"All notifications snoozed for 1 hour"}]})"));
    }

    void badFileIsSetAsideAndTheLogStartsEmpty_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not an object") << QByteArray("[]");
        QTest::newRow("unknown kind") << QByteArray(R"({"events":[{"kind":"exploded","time":1,"title":"x"}]})");
    }
    void badFileIsSetAsideAndTheLogStartsEmpty()
    {
        QTemporaryDir dir;
        const QByteArray bytes = TW_DATA(QByteArray, bytes);
        put(EventLogStore::eventsPath(dir.path()), bytes);
        ManualSleeper sleeper;
        EventLog log(dir.path(), sleeper.function(), [] { return t0; });
        QCOMPARE(log.events(), QList<RecentEvent>{});
        QCOMPARE(contents(EventLogStore::corruptPath(dir.path())), bytes);
        // The log carries on, and its next write does not touch the file set aside.
        log.record(aged(1));
        log.flush();
        QCOMPARE(EventLogStore::load(dir.path()), log.events());
        QCOMPARE(contents(EventLogStore::corruptPath(dir.path())), bytes);
    }

    // Old entries go at start, and that alone is no reason to write.
    void oldEntriesGoAtStartWithoutAWrite()
    {
        QTemporaryDir dir;
        EventLogStore::save({aged(8 * 86400), aged(20), aged(3 * 86400)}, dir.path());
        PollHistory history;
        history.samples.insert(u"old"_s, {{t0.addDays(-8), 1.0, ServiceStatus::Up}});
        history.samples.insert(u"new"_s, {{t0.addDays(-8), 1.0, ServiceStatus::Up}, {t0, 2.0, ServiceStatus::Up}});
        HistoryStore::save(history, dir.path());
        const QByteArray before = contents(EventLogStore::eventsPath(dir.path()));
        ManualSleeper sleeper;
        EventLog log(dir.path(), sleeper.function(), [] { return t0; });
        HistoryRecorder recorder(dir.path(), sleeper.function(), [] { return t0; });
        QCOMPARE(titles(log.events()), (QStringList{u"20"_s, QString::number(3 * 86400)}));
        QCOMPARE(recorder.history().samples.keys(), QList<QString>{u"new"_s});
        QCOMPARE(recorder.history().samples.value(u"new"_s).size(), 1);
        log.flush();
        QCOMPARE(sleeper.pending(), 0);
        QCOMPARE(contents(EventLogStore::eventsPath(dir.path())), before);
    }

    // A burst of samples is written once per window; a flush or a prune writes only what changed.
    void oneWritePerWindowAndOnlyWhenSomethingChanged()
    {
        QTemporaryDir dir;
        ManualSleeper sleeper;
        HistoryRecorder recorder(dir.path(), sleeper.function(), [] { return t0; });
        QSignalSpy written(&recorder, &HistoryRecorder::written);
        const QUuid id = QUuid::createUuid();
        for (int i = 0; i < 10; ++i)
            record(recorder, snapshotAt(id, t0.addSecs(i), i));
        QTRY_COMPARE(sleeper.pending(), 1); // one window for ten records
        QVERIFY(!QFile::exists(HistoryStore::historyPath(dir.path())));
        sleeper.release();
        QTRY_COMPARE(written.size(), 1);
        QCOMPARE(HistoryStore::load(dir.path()), recorder.history());
        QCOMPARE(recorder.history().samples.begin().value().size(), 10);

        // Nothing unwritten: flushing leaves the file alone.
        QFile::remove(HistoryStore::historyPath(dir.path()));
        recorder.flush();
        QVERIFY(!QFile::exists(HistoryStore::historyPath(dir.path())));

        // A flush inside a window writes at once and closes the window.
        const QUuid dropped = QUuid::createUuid();
        record(recorder, snapshotAt(dropped, t0.addSecs(20), 20));
        recorder.flush();
        QCOMPARE(written.size(), 2);
        sleeper.release();
        QTest::qWait(10);
        QCOMPARE(written.size(), 2);

        // Pruning to the sources there are changes nothing; pruning one away opens a window.
        recorder.prune({id, dropped});
        QTest::qWait(5);
        QCOMPARE(sleeper.pending(), 0);
        recorder.prune({id});
        QTRY_COMPARE(sleeper.pending(), 1);
        const QList<QString> keys = recorder.history().samples.keys();
        QCOMPARE(keys.size(), 1);
        QVERIFY(keys.first().startsWith(JsonRead::uuidText(id) + u'/'));
    }

    void fileFormatAndCorruptFiles()
    {
        PollHistory history;
        history.samples.insert(u"k"_s,
                               {{HistoryStore::fromReferenceSeconds(1.5), std::nullopt, ServiceStatus::Warn},
                                {HistoryStore::fromReferenceSeconds(86400), 12.5, ServiceStatus::Up}});
        QCOMPARE(HistoryStore::encode(history),
                 QByteArray(R"({"samples":{"k":[{"status":"warn","time":1.5},)"
                            R"({"latencyMs":12.5,"status":"up","time":86400}]}})"));
        QCOMPARE(HistoryStore::decode(HistoryStore::encode(history)), history);
        // Widget keys come from servers: any text must survive the file.
        PollHistory odd;
        odd.samples.insert(u"A/kv:say \"hi\" \\ \n\t\u0001 ✓ 🚀"_s,
                           {{HistoryStore::fromReferenceSeconds(0.125), 1e-7, ServiceStatus::Down}});
        QCOMPARE(HistoryStore::decode(HistoryStore::encode(odd)), odd);
        QCOMPARE(HistoryStore::referenceSeconds(QDateTime(QDate(2001, 1, 1), QTime(0, 1), Qt::UTC)), 60.0);

        QVERIFY_THROWS_EXCEPTION(DecodeError,
                                 HistoryStore::decode(R"({"samples":{"k":[{"time":"yesterday","status":"up"}]}})"));
    }
};

QTEST_GUILESS_MAIN(EventLogTest)
#include "EventLogTest.moc"
