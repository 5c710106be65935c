#include "kit/monitor/PollEngine.h"

#include "kit/desktop/InMemoryCredentialStore.h"
#include "support/FakeProviders.h"
#include "support/ManualSleeper.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

TCPPortConfig tcp(const QString &name, double interval = 60)
{
    TCPPortConfig c(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
    c.pollInterval = interval;
    return c;
}

} // namespace

class PollEngineTest : public QObject
{
    Q_OBJECT

    struct Rig
    {
        FakeProviders providers;
        ManualSleeper sleeper;
        PollEngine engine{std::make_shared<InMemoryCredentialStore>(), providers.maker(), sleeper.function()};
        QList<PollEngine::Update> updates;
        Rig()
        {
            QObject::connect(&engine, &PollEngine::updated, &engine, [this](const PollEngine::Update &u) {
                updates.append(u);
            });
        }
    };

private Q_SLOTS:
    // "+" a poll that answers, "-" one that fails, "!" one that fails, asked for during the wait
    // before it; each asks for the wait before the next.
    void waitsFollowFailures_data()
    {
        QTest::addColumn<double>("interval");
        QTest::addColumn<QString>("polls");
        QTest::addColumn<QList<double>>("delays");
        QTest::newRow("60 s doubles to the five-minute cap, an answer resets it")
            << 60.0 << u"+----+"_s << QList<double>{60, 120, 240, 300, 300, 60};
        QTest::newRow("a refresh during a back-off polls at once and keeps counting")
            << 60.0 << u"--!"_s << QList<double>{120, 240, 300};
        QTest::newRow("299 s caps at 300 at once") << 299.0 << u"--"_s << QList<double>{300, 300};
        QTest::newRow("below the minimum runs at 5 s") << 1.0 << u"+--"_s << QList<double>{5, 10, 20};
    }
    void waitsFollowFailures()
    {
        QFETCH(QString, polls);
        Rig rig;
        const TCPPortConfig source = tcp(u"flaky"_s, TW_DATA(double, interval));
        for (qsizetype i = 0; i < polls.size(); ++i) {
            if (polls.at(i) == u'+')
                rig.providers.succeed(source.id);
            else
                rig.providers.failWith(source.id, u"timed out"_s);
            if (i == 0)
                rig.engine.sync({source});
            if (polls.at(i) == u'!') {
                QTRY_COMPARE(rig.sleeper.pending(), 1);
                rig.engine.refresh(source.id);
                QTRY_COMPARE(rig.sleeper.delays().size(), i + 1);
            }
            QVERIFY(rig.sleeper.runUntilDelays(i + 1));
        }
        QCOMPARE(rig.sleeper.delays(), TW_DATA(QList<double>, delays));
        const PollEngine::Update state = rig.engine.currentState();
        const int answered = int(polls.lastIndexOf(u'+')) + 1; // the fetch whose snapshot stays
        const int failing = int(polls.size()) - answered;
        QCOMPARE(state.consecutiveFailures.value(source.id), failing);
        QCOMPARE(state.errors.value(source.id), failing ? u"timed out"_s : QString());
        QCOMPARE(state.snapshots.contains(source.id), answered > 0);
        if (answered > 0)
            QCOMPARE(state.snapshots.value(source.id).widgets.first(), FakeProviders::widgetFor(source, answered));
    }

    // An unchanged source keeps its loop, a changed one alone restarts; with nothing left, one empty
    // state is told.
    void syncOnlyTouchesWhatChanged()
    {
        Rig rig;
        TCPPortConfig a = tcp(u"a"_s);
        const TCPPortConfig b = tcp(u"b"_s);
        rig.providers.failWith(b.id, u"refused"_s);
        rig.engine.sync({a, b});
        QTRY_COMPARE(rig.updates.size(), 2);

        rig.engine.sync({a, b});
        QTest::qWait(20);
        QCOMPARE(rig.updates.size(), 2);
        QCOMPARE(rig.providers.totalFetches(), 2);

        a.displayName = u"renamed"_s;
        rig.engine.sync({a, b});
        QTRY_COMPARE(rig.providers.fetchCount(a.id), 2);
        QCOMPARE(rig.providers.fetchCount(b.id), 1);
        QTRY_COMPARE(rig.updates.size(), 3);
        QCOMPARE(rig.updates.last().snapshots.value(a.id).widgets.first().name(), u"renamed"_s);

        rig.engine.sync({});
        QCOMPARE(rig.updates.size(), 4);
        QCOMPARE(rig.updates.last(), PollEngine::Update{});
        rig.engine.sync({});
        QCOMPARE(rig.updates.size(), 4);
    }

    void pauseKeepsDataAndResumesOnlyOnSync()
    {
        Rig rig;
        const TCPPortConfig a = tcp(u"a"_s);
        const TCPPortConfig b = tcp(u"b"_s);
        rig.providers.failWith(b.id, u"refused"_s);
        rig.engine.sync({a, b});
        QTRY_COMPARE(rig.updates.size(), 2);
        const PollEngine::Update before = rig.engine.currentState();

        rig.engine.setPaused(true);
        rig.sleeper.release();
        rig.engine.refresh(a.id);
        rig.engine.refresh(QUuid::createUuid());
        QTest::qWait(20);
        QCOMPARE(rig.providers.totalFetches(), 2);
        QCOMPARE(rig.engine.currentState(), before);

        rig.engine.sync({a}); // removal while paused: b's state goes in one publish, nothing starts
        QCOMPARE(rig.updates.size(), 3);
        QVERIFY(!rig.updates.last().polledSourceID);
        QVERIFY(!rig.updates.last().errors.contains(b.id));
        QVERIFY(!rig.updates.last().consecutiveFailures.contains(b.id));
        rig.engine.setPaused(false);
        QTest::qWait(20);
        QCOMPARE(rig.providers.totalFetches(), 2);

        rig.engine.sync({a});
        QTRY_COMPARE(rig.providers.fetchCount(a.id), 2);
    }

    void fetchThatFinishesAfterCancellationRecordsNothing()
    {
        Rig rig;
        const TCPPortConfig source = tcp(u"slow"_s);
        rig.providers.hold(source.id);
        rig.engine.sync({source});
        QTRY_COMPARE(rig.providers.fetchCount(source.id), 1);

        rig.engine.setPaused(true);
        rig.providers.releaseHeld();
        QTest::qWait(20);
        QVERIFY(rig.updates.isEmpty());
        QCOMPARE(rig.engine.currentState(), PollEngine::Update{});
        QVERIFY(rig.sleeper.delays().isEmpty());

        // A restarted loop drops the result of the one it replaced.
        rig.engine.setPaused(false);
        rig.engine.sync({source});
        QTRY_COMPARE(rig.providers.fetchCount(source.id), 2);
        rig.engine.refresh(source.id);
        QTRY_COMPARE(rig.providers.fetchCount(source.id), 3);
        rig.providers.releaseHeld();
        QTRY_COMPARE(rig.updates.size(), 1);
        QTest::qWait(20);
        QCOMPARE(rig.updates.size(), 1);
        QCOMPARE(rig.updates.first().snapshots.value(source.id).widgets.first(), FakeProviders::widgetFor(source, 3));
    }

    // A poll that fails before its first wait publishes inside sync(), before the event loop turns;
    // a listener that comes later hears the present state first, on a later turn.
    void listenersHearThePresentStateThenEachPoll()
    {
        Rig rig;
        const TCPPortConfig source = tcp(u"port 0"_s);
        rig.providers.failToMake(source.id, u"port 0 out of range (1-65535)"_s);
        QObject listener;
        QList<PollEngine::Update> seen;
        rig.engine.subscribe(&listener, [&seen](const PollEngine::Update &u) { seen.append(u); });
        rig.engine.sync({source});
        QCOMPARE(seen.size(), 2);
        QVERIFY(!seen.first().polledSourceID);
        QVERIFY(seen.first().errors.isEmpty());
        QCOMPARE(seen.last().polledSourceID, source.id);
        QVERIFY(!seen.last().polledSucceeded);
        QCOMPARE(seen.last().consecutiveFailures.value(source.id), 1);
        QCOMPARE(seen.last().errors.value(source.id), u"port 0 out of range (1-65535)"_s);

        QObject late;
        QList<PollEngine::Update> heard;
        rig.engine.subscribe(&late, [&heard](const PollEngine::Update &u) { heard.append(u); });
        QVERIFY(heard.isEmpty());
        QTRY_COMPARE(heard.size(), 1);
        QVERIFY(!heard.first().polledSourceID);
        QCOMPARE(heard.first().errors, seen.last().errors);
        QCOMPARE(seen.size(), 2); // the present state is not told twice
        rig.engine.refresh(source.id);
        QTRY_COMPARE(heard.size(), 2);
        QCOMPARE(heard.last().polledSourceID, source.id);
    }

    void destroyingTheEngineStopsItsLoops()
    {
        auto providers = std::make_unique<FakeProviders>();
        ManualSleeper sleeper;
        const TCPPortConfig source = tcp(u"a"_s);
        providers->hold(source.id);
        {
            PollEngine engine(std::make_shared<InMemoryCredentialStore>(), providers->maker(), sleeper.function());
            engine.sync({source, tcp(u"b"_s)});
            QTRY_COMPARE(providers->totalFetches(), 2);
            QTRY_COMPARE(sleeper.pending(), 1);
        }
        providers->releaseHeld();
        sleeper.release();
        QTest::qWait(20);
        QCOMPARE(providers->totalFetches(), 2);
    }
};

QTEST_GUILESS_MAIN(PollEngineTest)
#include "PollEngineTest.moc"
