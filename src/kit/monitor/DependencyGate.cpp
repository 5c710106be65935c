#include "DependencyGate.h"

#include "kit/monitor/AlertEvaluator.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A host past its limits is up: that outage says nothing of whether what sits behind it is reached.
bool tellsOfReach(const AlertEvent &event)
{
    return !event.key.endsWith(AlertEvaluator::limitsSuffix);
}

} // namespace

QString DependencyGate::downTitle(const QString &name, qsizetype behind)
{
    return behind == 1 ? u"%1 is down — 1 source behind it"_s.arg(name)
                       : u"%1 is down — %2 sources behind it"_s.arg(name, QString::number(behind));
}

bool DependencyGate::readsDown(const QUuid &source) const
{
    const auto answer = m_answers.constFind(source);
    return answer != m_answers.cend() && *answer == Answer::Failing && !m_open.value(source).isEmpty();
}

bool DependencyGate::inDoubt(const QUuid &source) const
{
    // Failing, but not yet for as many polls in a row as its threshold asks: it may yet be a blip.
    const auto answer = m_answers.constFind(source);
    return answer != m_answers.cend() && *answer == Answer::Failing && m_open.value(source).isEmpty();
}

std::optional<QUuid> DependencyGate::cause(const QUuid &source) const
{
    return Dependencies::cause(m_parents, source, [this](const QUuid &id) { return readsDown(id); });
}

std::optional<QUuid> DependencyGate::blockedBy(const QUuid &source) const
{
    const auto answer = m_answers.constFind(source);
    if (answer == m_answers.cend() || *answer == Answer::Up)
        return std::nullopt;
    return cause(source);
}

bool DependencyGate::heldByParents(const QUuid &source) const
{
    if (cause(source))
        return true;
    const QList<QUuid> above = Dependencies::ancestors(m_parents, source);
    return std::any_of(above.cbegin(), above.cend(), [this](const QUuid &id) { return inDoubt(id); });
}

QSet<QUuid> DependencyGate::heldNow() const
{
    QSet<QUuid> held;
    for (auto it = m_withheld.keyBegin(); it != m_withheld.keyEnd(); ++it) {
        if (heldByParents(*it))
            held.insert(*it);
    }
    return held;
}

void DependencyGate::ask(const QUuid &source, Outcome &outcome)
{
    // Once until it answers: each poll asked for restarts the source's loop, and a stream of
    // children going down would keep cancelling the very poll they wait for.
    if (m_asked.contains(source))
        return;
    m_asked.insert(source);
    outcome.refresh.append(source);
}

void DependencyGate::settle(const QSet<QUuid> &before, Outcome &outcome)
{
    for (const QUuid &id : std::as_const(m_order)) {
        if (!m_withheld.contains(id))
            continue;
        if (heldByParents(id)) {
            // Down again above it before its re-poll came: it is behind that again.
            if (m_waits.value(id, Wait::ParentAnswer) == Wait::Repoll)
                m_waits.remove(id);
            continue;
        }
        if (before.contains(id)) {
            // What held it is over; whether it fails on its own, its next poll tells.
            m_waits.insert(id, Wait::Repoll);
            ask(id, outcome);
            continue;
        }
        if (m_waits.contains(id))
            continue;
        outcome.pass.append(m_withheld.take(id));
    }
}

DependencyGate::Outcome DependencyGate::setSources(const QList<AnySourceConfig> &sources)
{
    Outcome outcome;
    const QSet<QUuid> before = heldNow();
    const Dependencies::Parents old = m_parents;
    m_parents = Dependencies::parents(sources);
    m_order.clear();
    m_names.clear();
    for (const AnySourceConfig &source : sources) {
        m_order.append(source.id());
        m_names.insert(source.id(), source.common().displayName);
    }
    const auto gone = [this](const auto &entry) {
        return !m_names.contains(entry.key());
    };
    m_answers.removeIf(gone);
    m_open.removeIf(gone);
    m_withheld.removeIf(gone);
    m_waits.removeIf(gone);
    m_asked.removeIf([this](const QUuid &id) { return !m_names.contains(id); });
    // A wait for a parent that is no longer this source's parent would never end.
    m_waits.removeIf([&](const auto &entry) {
        return entry.value() == Wait::ParentAnswer && old.value(entry.key()) != m_parents.value(entry.key());
    });
    settle(before, outcome);
    return outcome;
}

DependencyGate::Outcome DependencyGate::admit(const QUuid &source, Answer answer, const QList<AlertEvent> &events)
{
    if (!m_names.contains(source))
        return {events, {}}; // removed while its poll ran
    Outcome outcome;
    const QSet<QUuid> before = heldNow();
    m_answers.insert(source, answer);
    m_asked.remove(source);
    for (const AlertEvent &event : events) {
        if (!tellsOfReach(event))
            continue;
        if (event.kind == AlertEvent::Kind::Down)
            m_open[source].insert(event.key);
        else if (const auto open = m_open.find(source);
                 open != m_open.end() && open->remove(event.key) && open->isEmpty())
            m_open.erase(open);
    }
    if (m_waits.value(source, Wait::ParentAnswer) == Wait::Repoll)
        m_waits.remove(source);
    // The children that waited for this source's answer have it.
    m_waits.removeIf([&](const auto &entry) {
        return entry.value() == Wait::ParentAnswer && m_parents.value(entry.key()) == source;
    });

    const qsizetype behind = Dependencies::countBehind(m_parents, source);
    bool titled = !readsDown(source) || behind == 0;
    const auto parent = m_parents.constFind(source);
    for (AlertEvent event : events) {
        if (event.kind == AlertEvent::Kind::Recovered) {
            if (const auto held = m_withheld.find(source); held != m_withheld.end()) {
                held->removeIf([&](const AlertEvent &down) { return down.key == event.key; });
                if (held->isEmpty())
                    m_withheld.erase(held);
            }
            outcome.pass.append(event);
            continue;
        }
        if (tellsOfReach(event) && !std::exchange(titled, true))
            event.title = downTitle(m_names.value(source), behind);
        if (parent == m_parents.cend()) {
            outcome.pass.append(event);
            continue;
        }
        m_withheld[source].append(event);
        if (!cause(source) && !m_waits.contains(source)) {
            m_waits.insert(source, Wait::ParentAnswer);
            ask(*parent, outcome);
        }
    }
    settle(before, outcome);
    return outcome;
}

} // namespace tw
