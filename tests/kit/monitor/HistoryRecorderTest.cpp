#include "kit/monitor/HistoryRecorder.h"

#include "kit/model/JsonRead.h"
#include "kit/monitor/HistoryStore.h"
#include "support/Files.h"
#include "support/ManualSleeper.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);

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

class HistoryRecorderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void trimsToAWeekAndFiveHundred_data()
    {
        QTest::addColumn<QList<qint64>>("ages"); // seconds before the reference, oldest first
        QTest::addColumn<int>("kept");
        QTest::newRow("exactly seven days is kept") << QList<qint64>{604800, 10} << 2;
        QTest::newRow("one second older goes") << QList<qint64>{604801, 10} << 1;
        QList<qint64> many;
        for (int i = 600; i > 0; --i)
            many.append(i);
        QTest::newRow("newest 500 stay") << many << 500;
    }
    void trimsToAWeekAndFiveHundred()
    {
        QFETCH(QList<qint64>, ages);
        QList<HistorySample> samples;
        for (const qint64 age : ages)
            samples.append({t0.addSecs(-age), double(age), ServiceStatus::Up});
        QFETCH(int, kept);
        const QList<HistorySample> trimmed = HistoryRecorder::trimmed(samples, t0);
        QCOMPARE(trimmed.size(), qsizetype(kept));
        QCOMPARE(trimmed.last(), samples.last());
    }

    void oneWritePerWindowAndFlushOnlyWhenDirty()
    {
        QTemporaryDir dir;
        ManualSleeper sleeper;
        HistoryRecorder recorder(dir.path(), sleeper.function(), [] { return t0; });
        QSignalSpy written(&recorder, &HistoryRecorder::written);
        const QUuid id = QUuid::createUuid();
        for (int i = 0; i < 10; ++i)
            record(recorder, snapshotAt(id, t0.addSecs(i), i));
        QTRY_COMPARE(sleeper.pending(), 1); // one window for ten records
        QCOMPARE(sleeper.delays(), QList<double>{30});
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
        record(recorder, snapshotAt(id, t0.addSecs(20), 20));
        recorder.flush();
        QCOMPARE(written.size(), 2);
        sleeper.release();
        QTest::qWait(10);
        QCOMPARE(written.size(), 2);
    }

    void pruneDropsOtherSourcesOnlyWhenSomethingGoes()
    {
        QTemporaryDir dir;
        ManualSleeper sleeper;
        HistoryRecorder recorder(dir.path(), sleeper.function(), [] { return t0; });
        const QUuid kept = QUuid::createUuid();
        const QUuid dropped = QUuid::createUuid();
        record(recorder, snapshotAt(kept, t0, 1));
        record(recorder, snapshotAt(dropped, t0, 2));
        recorder.flush();
        QTRY_COMPARE(sleeper.pending(), 0);
        recorder.prune({kept, dropped});
        QTest::qWait(5);
        QCOMPARE(sleeper.pending(), 0); // unchanged set: nothing scheduled
        recorder.prune({kept});
        QTRY_COMPARE(sleeper.pending(), 1);
        const QList<QString> keys = recorder.history().samples.keys();
        QCOMPARE(keys.size(), 1);
        QVERIFY(keys.first().startsWith(JsonRead::uuidText(kept) + u'/'));
    }

    void fileFormatAndCorruptFiles()
    {
        QTemporaryDir dir;
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

        put(HistoryStore::historyPath(dir.path()), R"({"samples":{"k":[{"time":"yesterday","status":"up"}]}})");
        QCOMPARE(HistoryStore::load(dir.path()), PollHistory{});
        QVERIFY(QFile::exists(HistoryStore::corruptPath(dir.path())));
        QVERIFY(!QFile::exists(HistoryStore::historyPath(dir.path())));
    }

    void oldSamplesGoAtStart()
    {
        QTemporaryDir dir;
        PollHistory history;
        history.samples.insert(u"old"_s, {{t0.addDays(-8), 1.0, ServiceStatus::Up}});
        history.samples.insert(u"new"_s, {{t0.addDays(-8), 1.0, ServiceStatus::Up}, {t0, 2.0, ServiceStatus::Up}});
        HistoryStore::save(history, dir.path());
        ManualSleeper sleeper;
        HistoryRecorder recorder(dir.path(), sleeper.function(), [] { return t0; });
        QCOMPARE(recorder.history().samples.keys(), QList<QString>{u"new"_s});
        QCOMPARE(recorder.history().samples.value(u"new"_s).size(), 1);
        QCOMPARE(sleeper.pending(), 0); // trimming at start is no reason to write
    }
};

QTEST_GUILESS_MAIN(HistoryRecorderTest)
#include "HistoryRecorderTest.moc"
