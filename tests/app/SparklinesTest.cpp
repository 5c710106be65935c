#include "app/Sparklines.h"

#include "support/Hub.h"

#include <QSignalSpy>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

TCPPortConfig tcp(const QString &name)
{
    return TCPPortConfig(QUuid::createUuid(), name, u"127.0.0.1"_s, 22);
}

} // namespace

class SparklinesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The polls a hub stopped at its end resume on the next turn of the loop and return.
    void cleanup() { QTest::qWait(50); }

    void keepThirtyAndFollowRemoval()
    {
        const TCPPortConfig a = tcp(u"a"_s);
        Hub rig({a});
        Sparklines lines(*rig.state);
        rig.state->startSync();
        const QString key = FakeProviders::widgetFor(a, 1).widgetKey(a.id);
        QVERIFY(rig.sleeper.runUntilDelays(32));
        QTRY_COMPARE(lines.values().value(key).size(), Sparklines::length);
        // Each fetch reports its own number as latency: the oldest values went first.
        QTRY_VERIFY(lines.values().value(key).first() > 2);
        QSignalSpy changed(&lines, &Sparklines::changed);
        rig.state->removeSource(a.id);
        QVERIFY(lines.values().isEmpty());
        QCOMPARE(changed.size(), 1);
    }

    // A restart draws the week's history at once; sources that arrive later start empty, and the
    // ones still configured keep what this run saw.
    void seededFromTheHistoryForKnownSources()
    {
        const TCPPortConfig a = tcp(u"a"_s);
        Hub rig({a});
        const QString key = FakeProviders::widgetFor(a, 1).widgetKey(a.id);
        {
            Sparklines lines(*rig.state);
            rig.state->startSync();
            QVERIFY(rig.sleeper.runUntilDelays(3));
            QTRY_COMPARE(lines.values().value(key).size(), 3);
            rig.state->flushHistory();
        }
        rig.restart();
        Sparklines lines(*rig.state);
        QCOMPARE(lines.values().value(key), (QList<double>{1, 2, 3}));
        const TCPPortConfig added = tcp(u"new"_s);
        rig.state->replaceSources({a, added});
        QCOMPARE(lines.values().keys(), QList<QString>{key});
        rig.state->replaceSources({added});
        QVERIFY(lines.values().isEmpty());
    }
};

QTEST_GUILESS_MAIN(SparklinesTest)
#include "SparklinesTest.moc"
