#include "kit/monitor/AlertGate.h"

#include "kit/model/JsonRead.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

// Local times, as quiet hours are read.
QDateTime at(const QString &hhmm, int dayOffset = 0)
{
    return QDateTime(QDate(2026, 11, 23).addDays(dayOffset), QTime::fromString(hhmm, u"HH:mm"_s), Qt::LocalTime);
}

struct Source
{
    QUuid id = QUuid::createUuid();
    QString name;

    AlertEvent down(const QDateTime &when) const
    {
        return {id, AlertEvent::Kind::Down, name + u" is unreachable"_s, when, JsonRead::uuidText(id), {}};
    }
    AlertEvent recovered(const QDateTime &since) const
    {
        return {id, AlertEvent::Kind::Recovered, name + u" recovered"_s, since, JsonRead::uuidText(id), {}};
    }
};

QStringList titles(const QList<AlertEvent> &events)
{
    QStringList out;
    for (const AlertEvent &event : events)
        out << event.title + (event.detail ? u": "_s + *event.detail : QString());
    return out;
}

constexpr qint64 grace = 60'000;

} // namespace

class AlertGateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quietHoursEndInOneSummary_data()
    {
        QTest::addColumn<QString>("script"); // "HH:mm name down|up", in order, within one day
        QTest::addColumn<QString>("reviewAt");
        QTest::addColumn<QStringList>("summary");
        QTest::newRow("two still down, one back")
            << u"02:10 NAS down, 02:20 Plex down, 02:30 Pi down, 03:00 Pi up"_s << u"04:00"_s
            << QStringList{u"2 still down after quiet hours: NAS is unreachable, Plex is unreachable"_s};
        QTest::newRow("one still down") << u"02:10 NAS down"_s << u"04:05"_s
                                        << QStringList{u"Still down after quiet hours: NAS is unreachable"_s};
        QTest::newRow("all back before the end") << u"02:10 NAS down, 03:10 NAS up"_s << u"04:00"_s << QStringList{};
        QTest::newRow("six down, four named")
            << u"02:01 A down, 02:02 B down, 02:03 C down, 02:04 D down, 02:05 E down, 02:06 F down"_s << u"04:00"_s
            << QStringList{u"6 still down after quiet hours: A is unreachable, B is unreachable, C is unreachable, "
                           "D is unreachable and 2 more"_s};
    }
    void quietHoursEndInOneSummary()
    {
        const QStringList script = TW_DATA(QString, script).split(u", "_s);
        AlertGate gate(grace);
        gate.setQuietHours({true, QTime(2, 0), QTime(4, 0)});
        QHash<QString, Source> sources;
        for (const QString &line : script) {
            const QStringList parts = line.split(u' ');
            const QDateTime when = at(parts[0]);
            Source &source = sources[parts[1]];
            source.name = parts[1];
            const AlertEvent event = parts[2] == u"down"_s ? source.down(when) : source.recovered(when);
            QVERIFY2(gate.admit({event}, when).post.isEmpty(), qPrintable(line));
            QVERIFY(gate.review(when).post.isEmpty());
        }
        const QList<AlertEvent> posted = gate.review(at(TW_DATA(QString, reviewAt))).post;
        QCOMPARE(titles(posted), TW_DATA(QStringList, summary));
        if (posted.isEmpty())
            return;
        QCOMPARE(posted.first().kind, AlertEvent::Kind::Down);
        QVERIFY(gate.review(at(u"12:00"_s, 1)).post.isEmpty()); // summed up once
        // What the summary told of, the recovery tells of too.
        const Source &first = sources[script.first().split(u' ')[1]];
        QCOMPARE(titles(gate.admit({first.recovered(at(u"05:00"_s))}, at(u"12:00"_s, 1)).post),
                 QStringList{first.name + u" recovered"_s});
    }

    // Alerts held while the machine is offline or asleep, or in quiet hours, are asked again on
    // release whether their source is still there and wants alerts; a failure that ended before the
    // grace period after the return was over is never heard of. One withheld stays untold to its end:
    // alerts turned back on do not post the recovery of an outage the user never heard of. Plex, left
    // alone, shows the check is per source.
    void heldAlertsAreCheckedAgainOnRelease_data()
    {
        QTest::addColumn<QString>("held"); // offline, asleep or quiet
        QTest::addColumn<QString>("meanwhile"); // what became of NAS while its alert was held
        QTest::addColumn<QStringList>("released");
        QTest::addColumn<QStringList>("recovery"); // NAS recovers, its alerts on again if muted
        const QStringList both{u"NAS is unreachable"_s, u"Plex is unreachable"_s};
        const QStringList plex{u"Plex is unreachable"_s};
        const QStringList recovered{u"NAS recovered"_s};
        QTest::newRow("offline, kept") << u"offline"_s << u"kept"_s << both << recovered;
        QTest::newRow("asleep, kept") << u"asleep"_s << u"kept"_s << both << recovered;
        QTest::newRow("offline, recovered before the return") << u"offline"_s << u"away"_s << plex << QStringList{};
        QTest::newRow("offline, recovered in the grace period") << u"offline"_s << u"back"_s << plex << QStringList{};
        QTest::newRow("offline, muted") << u"offline"_s << u"muted"_s << plex << QStringList{};
        QTest::newRow("offline, removed") << u"offline"_s << u"removed"_s << plex << QStringList{};
        QTest::newRow("quiet hours, kept")
            << u"quiet"_s << u"kept"_s
            << QStringList{u"2 still down after quiet hours: NAS is unreachable, Plex is unreachable"_s} << recovered;
        QTest::newRow("quiet hours, muted")
            << u"quiet"_s << u"muted"_s << QStringList{u"Still down after quiet hours: Plex is unreachable"_s}
            << QStringList{};
    }
    void heldAlertsAreCheckedAgainOnRelease()
    {
        QFETCH(QString, held);
        QFETCH(QString, meanwhile);
        AlertGate gate(grace);
        const Source nas{.name = u"NAS"_s}, plex{.name = u"Plex"_s};
        const QDateTime away = at(u"02:00"_s), down = at(u"02:10"_s), back = at(u"02:30"_s);
        const bool quiet = held == u"quiet"_s;
        const QDateTime release = quiet ? at(u"04:00"_s) : back.addMSecs(grace);
        const auto setAway = [&](bool on, const QDateTime &when) {
            return held == u"asleep"_s ? gate.setAsleep(on, when) : gate.setOnline(!on, when);
        };
        if (quiet) {
            gate.setQuietHours({true, QTime(2, 0), QTime(4, 0)});
        } else {
            QVERIFY(!setAway(false, away)); // already back: no grace period starts
            QVERIFY(setAway(true, away));
            QCOMPARE(gate.hush(away), held == u"asleep"_s ? AlertGate::Hush::Asleep : AlertGate::Hush::Offline);
        }
        QVERIFY(gate.admit({nas.down(down), plex.down(down)}, down).post.isEmpty());
        if (meanwhile == u"away"_s)
            QVERIFY(gate.admit({nas.recovered(down)}, back.addSecs(-5)).post.isEmpty());
        if (meanwhile == u"removed"_s)
            gate.forget(nas.id);
        if (!quiet) {
            QVERIFY(setAway(false, back));
            QCOMPARE(gate.hush(back), AlertGate::Hush::WakingUp);
        }
        if (meanwhile == u"back"_s)
            QVERIFY(gate.admit({nas.recovered(down)}, back.addSecs(30)).post.isEmpty());
        const auto wanted = [&](const QUuid &id) {
            return id == plex.id || (id == nas.id && meanwhile != u"muted"_s);
        };
        QVERIFY(gate.review(release.addSecs(-1), wanted).post.isEmpty());
        const AlertGate::Outcome released = gate.review(release, wanted);
        QCOMPARE(titles(released.post), TW_DATA(QStringList, released));
        QCOMPARE(released.hushChanged, !quiet);
        QCOMPARE(gate.hush(release), AlertGate::Hush::None);
        QVERIFY(gate.review(release.addSecs(60), wanted).post.isEmpty());
        QCOMPARE(titles(gate.admit({nas.recovered(down)}, release.addSecs(120)).post), TW_DATA(QStringList, recovery));
        QCOMPARE(titles(gate.admit({nas.down(release.addSecs(180))}, release.addSecs(180)).post),
                 QStringList{u"NAS is unreachable"_s}); // the next outage is told
    }

    void snoozesWithholdAndEndByThemselves()
    {
        AlertGate gate(grace);
        const Source nas{.name = u"NAS"_s}, plex{.name = u"Plex"_s};
        const QDateTime t0 = at(u"10:00"_s);

        // Timed: the source's own alerts wait, everyone else's do not, and the time ends it. A new
        // snooze of the same source replaces the old one.
        gate.snooze({nas.id, t0.addSecs(7200)});
        gate.snooze({nas.id, t0.addSecs(3600)});
        QCOMPARE(titles(gate.admit({nas.down(t0), plex.down(t0)}, t0.addSecs(60)).post),
                 QStringList{u"Plex is unreachable"_s});
        QVERIFY(gate.snoozeOf(nas.id, t0.addSecs(3599)));
        QVERIFY(!gate.review(t0.addSecs(3599)).snoozesChanged);
        QVERIFY(gate.review(t0.addSecs(3600)).snoozesChanged);
        QVERIFY(gate.snoozes().isEmpty());
        QVERIFY2(gate.admit({nas.recovered(t0)}, t0.addSecs(3700)).post.isEmpty(), "its outage was never told");
        QCOMPARE(titles(gate.admit({nas.down(t0)}, t0.addSecs(3800)).post), QStringList{u"NAS is unreachable"_s});

        // Until recovery: the recovery it waits for is told, and a healthy poll ends it.
        gate.snooze({nas.id, std::nullopt});
        QCOMPARE(titles(gate.admit({nas.recovered(t0)}, t0.addSecs(3900)).post), QStringList{u"NAS recovered"_s});
        QVERIFY(gate.sourceHealthy(nas.id));
        QVERIFY(!gate.sourceHealthy(nas.id));
        QVERIFY(gate.snoozes().isEmpty());

        // Everything: even good news waits.
        gate.snooze({std::nullopt, t0.addSecs(8 * 3600)});
        QVERIFY(gate.admit({plex.recovered(t0), nas.down(t0)}, t0.addSecs(4000)).post.isEmpty());
        QVERIFY(gate.sourceHealthy(plex.id) == false); // a healthy poll never ends a timed snooze
        QVERIFY(gate.endSnooze(std::nullopt));
        QVERIFY(gate.admit({nas.recovered(t0)}, t0.addSecs(4100)).post.isEmpty());
    }
};

QTEST_GUILESS_MAIN(AlertGateTest)
#include "AlertGateTest.moc"
