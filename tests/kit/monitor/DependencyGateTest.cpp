#include "kit/monitor/DependencyGate.h"

#include "kit/monitor/AlertEvaluator.h"
#include "kit/monitor/AlertGate.h"

#include <QTest>
#include <QTimeZone>

using namespace tw;
using namespace Qt::StringLiterals;

namespace {

QUuid idOf(QChar name)
{
    return QUuid::createUuidV5(QUuid(), QString(name));
}

// The evaluator, the dependencies and the gate in the order the hub runs them, driven by a script
// of polls. It records what the user would be shown and which polls were asked for.
struct Rig
{
    QList<AnySourceConfig> sources;
    AlertEvaluator evaluator;
    DependencyGate dependencies;
    AlertGate gate;
    QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(12, 0), QTimeZone::utc());
    QStringList log;

    // "AR BR R:2": A and B sit behind R; R alerts after two failures, the others after one.
    explicit Rig(const QString &text)
    {
        for (const QString &word : text.split(u' ', Qt::SkipEmptyParts))
            sources.append(sourceOf(word));
        dependencies.setSources(sources);
    }

    static AnySourceConfig sourceOf(const QString &word)
    {
        const QStringList parts = word.split(u':');
        TCPPortConfig config(idOf(parts[0].at(0)), QString(parts[0].at(0)), u"127.0.0.1"_s, 22);
        config.alertThreshold = parts.size() > 1 ? parts[1].toInt() : 1;
        if (parts[0].size() > 1)
            config.dependsOn = idOf(parts[0].at(1));
        return config;
    }

    QString nameOf(const QUuid &id) const
    {
        for (const AnySourceConfig &source : sources) {
            if (source.id() == id)
                return source.common().displayName;
        }
        return u"?"_s;
    }

    void take(const DependencyGate::Outcome &outcome)
    {
        QStringList said;
        for (const QUuid &id : outcome.refresh)
            said << u"poll "_s + nameOf(id);
        for (const AlertEvent &event : gate.admit(outcome.pass, now).post)
            said << event.title;
        if (!said.isEmpty())
            log << said.join(u", "_s);
    }

    // "R-" R's poll failed; "R_" it answered with its check down; "R+" with its check up; "~R" R
    // was removed from the list; "?A" notes what A counts as behind, if anything.
    void step(const QString &word)
    {
        if (word.startsWith(u'?')) {
            const std::optional<QUuid> cause = dependencies.blockedBy(idOf(word.at(1)));
            log << word.mid(1) + u" behind "_s + (cause ? nameOf(*cause) : u"nothing"_s);
            return;
        }
        now = now.addSecs(60);
        if (word.startsWith(u'~')) {
            sources.removeIf([&](const AnySourceConfig &source) { return source.id() == idOf(word.at(1)); });
            take(dependencies.setSources(sources));
            return;
        }
        const QUuid id = idOf(word.at(0));
        const auto source =
            std::find_if(sources.cbegin(), sources.cend(), [&](const AnySourceConfig &s) { return s.id() == id; });
        QVERIFY(source != sources.cend());
        const bool up = word.at(1) == u'+';
        const auto answer = up ? DependencyGate::Answer::Up : DependencyGate::Answer::Failing;
        if (word.at(1) == u'-')
            return take(dependencies.admit(id, answer, evaluator.recordFailure(*source, now)));
        const CheckResult check{u"check"_s, word.left(1), up ? ServiceStatus::Up : ServiceStatus::Down, {}, {}};
        take(dependencies.admit(id, answer, evaluator.recordSuccess(*source, {id, now, {check}}, now)));
    }
};

} // namespace

class DependencyGateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneAlertPerCause_data()
    {
        QTest::addColumn<QString>("sources");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("shown"); // what each step showed or asked for, steps that did neither left out
        QTest::newRow("parent down, then its children")
            << u"AR BR R"_s << u"R- A- B- ?A"_s << u"R is down — 2 sources behind it | A behind R"_s;
        QTest::newRow("children down first: the parent is asked, and takes the blame")
            << u"AR BR R"_s << u"A- B- R-"_s << u"poll R | R is down — 2 sources behind it"_s;
        QTest::newRow("parent down, children recover first: no child is told")
            << u"AR BR R"_s << u"R- A- B- A+ ?A B+ R+"_s
            << u"R is down — 2 sources behind it | A behind nothing | R recovered"_s;
        QTest::newRow("parent recovers with a child still down: that child, after its re-poll")
            << u"AR BR R"_s << u"R- A- B- R+ B+ A- A+"_s
            << u"R is down — 2 sources behind it | poll A, poll B, R recovered | A is unreachable | A recovered"_s;
        QTest::newRow("a parent that answers well lets its child's alert go")
            << u"AR R"_s << u"R+ A- R+ ?A A+"_s << u"poll R | A is unreachable | A behind nothing | A recovered"_s;
        QTest::newRow("a parent not yet sure holds its child")
            << u"AR R:2"_s << u"A- R- ?A R-"_s << u"poll R | A behind nothing | R is down — 1 source behind it"_s;
        QTest::newRow("a parent's blip: the child is polled again before it is told")
            << u"AR R:2"_s << u"A- R- R+ A-"_s << u"poll R | poll A | A is unreachable"_s;
        QTest::newRow("nothing behind it") << u"A R"_s << u"R- A-"_s << u"R is unreachable | A is unreachable"_s;
        // B is down behind C; when C recovers B is still down, so A stays behind B until B recovers.
        QTest::newRow("a chain of three, the middle one still down")
            << u"AB BC C"_s << u"C- B- A- C+ B- A-"_s
            << u"C is down — 2 sources behind it | poll B, C recovered | B is down — 1 source behind it"_s;
        QTest::newRow("a chain of three, the middle one never heard from")
            << u"AB BC C"_s << u"C- A- C+ A-"_s
            << u"C is down — 2 sources behind it | poll A, C recovered | A is unreachable"_s;
        QTest::newRow("a removed parent: its child is polled again, and told if still down")
            << u"AR R"_s << u"R- A- ~R A-"_s << u"R is down — 1 source behind it | poll A | A is unreachable"_s;
        QTest::newRow("a child waiting for a parent that is removed")
            << u"AR R"_s << u"A- ~R"_s << u"poll R | A is unreachable"_s;
    }
    void oneAlertPerCause()
    {
        QFETCH(QString, sources);
        QFETCH(QString, script);
        QFETCH(QString, shown);
        Rig rig(sources);
        for (const QString &word : script.split(u' '))
            rig.step(word);
        QCOMPARE(rig.log.join(u" | "_s), shown);
    }
};

QTEST_GUILESS_MAIN(DependencyGateTest)
#include "DependencyGateTest.moc"
