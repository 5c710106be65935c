#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/Dependencies.h"
#include "kit/monitor/AlertEvent.h"

#include <QHash>
#include <QSet>

namespace tw {

// One alert per cause. Sits between the evaluator, which says what went down or came back, and the
// AlertGate, which decides when the user hears of it. A source that sits behind another (see
// Dependencies) has its down alerts withheld while a source above it reads down: the parent's own
// alert tells of the cause and counts the sources behind it. Since the sources poll on their own
// clocks, a child that goes down first waits for its parent to answer before its alert goes on;
// when the parent recovers, the children it held are polled again, and only one still failing
// then is told. Recoveries always go on: the AlertGate drops those of outages it never saw.
// No clock and no timer: the caller passes each poll in and carries out the polls asked for.
class DependencyGate
{
public:
    // What one poll said about a source as a whole.
    enum class Answer {
        Up, // nothing fails
        PartlyFailing, // something fails, something else reads up: not the cause of anything
        Failing, // the poll failed, or something fails and nothing reads up
    };

    struct Outcome
    {
        QList<AlertEvent> pass; // on to the AlertGate, in order
        QList<QUuid> refresh; // sources to poll now
        bool operator==(const Outcome &) const = default;
    };

    // Takes up the list after every change: new parents, removed sources. Alerts held for a parent
    // that is gone are re-polled, as after a recovery.
    Outcome setSources(const QList<AnySourceConfig> &sources);
    // One poll of `source`, with what the evaluator made of it. A source not in the list passes.
    Outcome admit(const QUuid &source, Answer answer, const QList<AlertEvent> &events);

    // The source is failing and has an outage told or withheld: a failure that stuck.
    bool readsDown(const QUuid &source) const;
    // The farthest source above this one that reads down, while this one itself fails.
    std::optional<QUuid> blockedBy(const QUuid &source) const;
    const Dependencies::Parents &parents() const { return m_parents; }

    // "Router is down — 7 sources behind it"
    static QString downTitle(const QString &name, qsizetype behind);

    bool operator==(const DependencyGate &) const = default;

private:
    enum class Wait {
        ParentAnswer, // went down while its parent looked well; the parent is asked first
        Repoll, // its parent is no longer down; its own next poll decides
    };

    std::optional<QUuid> cause(const QUuid &source) const;
    bool inDoubt(const QUuid &source) const;
    // Withheld because of what is above it: a cause, or a parent whose failure is not settled.
    bool heldByParents(const QUuid &source) const;
    QSet<QUuid> heldNow() const;
    void ask(const QUuid &source, Outcome &outcome);
    // Re-polls what `before` held and nothing holds now, and lets go what waits for nothing.
    void settle(const QSet<QUuid> &before, Outcome &outcome);

    Dependencies::Parents m_parents;
    QList<QUuid> m_order; // the list's, so that alerts let go together keep it
    QHash<QUuid, QString> m_names;
    QHash<QUuid, Answer> m_answers;
    QHash<QUuid, QSet<QString>> m_open; // the keys of each source's outages, told or not
    QHash<QUuid, QList<AlertEvent>> m_withheld; // down alerts not passed on, in order
    QHash<QUuid, Wait> m_waits;
    QSet<QUuid> m_asked; // polls asked for and not yet answered
};

} // namespace tw
