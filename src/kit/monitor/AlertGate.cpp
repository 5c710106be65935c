#include "AlertGate.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A summary names this many outages and counts the rest.
constexpr qsizetype namedInSummary = 4;

} // namespace

QString toText(AlertGate::Hush hush)
{
    switch (hush) {
    case AlertGate::Hush::None:
        return u"none"_s;
    case AlertGate::Hush::Offline:
        return u"offline"_s;
    case AlertGate::Hush::Asleep:
        return u"asleep"_s;
    case AlertGate::Hush::WakingUp:
        return u"wakingUp"_s;
    }
    return {};
}

QString AlertGate::quietHoursTitle(qsizetype count)
{
    return count == 1 ? u"Still down after quiet hours"_s : u"%1 still down after quiet hours"_s.arg(count);
}

AlertGate::Hush AlertGate::hush(const QDateTime &now) const
{
    if (m_asleep)
        return Hush::Asleep;
    if (!m_online)
        return Hush::Offline;
    if (m_graceUntil && now < *m_graceUntil)
        return Hush::WakingUp;
    return Hush::None;
}

bool AlertGate::setOnline(bool online, const QDateTime &now)
{
    const Hush before = hush(now);
    if (online && !m_online)
        m_graceUntil = now.addMSecs(m_graceMs); // the first polls after a reconnect still race it
    m_online = online;
    return hush(now) != before;
}

bool AlertGate::setAsleep(bool asleep, const QDateTime &now)
{
    const Hush before = hush(now);
    if (!asleep && m_asleep)
        m_graceUntil = now.addMSecs(m_graceMs);
    m_asleep = asleep;
    return hush(now) != before;
}

void AlertGate::snooze(const Snooze &snooze)
{
    m_snoozes.removeIf([&](const Snooze &existing) { return existing.sourceID == snooze.sourceID; });
    m_snoozes.append(snooze);
}

bool AlertGate::endSnooze(const std::optional<QUuid> &sourceID)
{
    return m_snoozes.removeIf([&](const Snooze &existing) { return existing.sourceID == sourceID; }) > 0;
}

bool AlertGate::sourceHealthy(const QUuid &sourceID)
{
    return m_snoozes.removeIf([&](const Snooze &existing) { return existing.sourceID == sourceID && !existing.until; })
        > 0;
}

std::optional<Snooze> AlertGate::snoozeOf(const std::optional<QUuid> &sourceID, const QDateTime &now) const
{
    for (const Snooze &snooze : m_snoozes) {
        if (snooze.sourceID == sourceID && !snooze.isOver(now))
            return snooze;
    }
    return std::nullopt;
}

bool AlertGate::snoozed(const QUuid &sourceID, const QDateTime &now) const
{
    return std::any_of(m_snoozes.cbegin(), m_snoozes.cend(), [&](const Snooze &snooze) {
        return snooze.covers(sourceID) && !snooze.isOver(now);
    });
}

bool AlertGate::expireSnoozes(const QDateTime &now)
{
    return m_snoozes.removeIf([&](const Snooze &snooze) { return snooze.isOver(now); }) > 0;
}

AlertGate::Fate AlertGate::fateOf(const AlertEvent &down, const QDateTime &now) const
{
    if (hush(now) != Hush::None)
        return Fate::HeldForHush;
    if (snoozed(down.sourceID, now))
        return Fate::Withheld;
    if (m_quietHours.contains(now))
        return Fate::HeldForQuiet;
    return Fate::Posted;
}

AlertGate::Outcome AlertGate::admit(const QList<AlertEvent> &events, const QDateTime &now)
{
    Outcome outcome;
    outcome.snoozesChanged = expireSnoozes(now);
    for (const AlertEvent &event : events) {
        if (event.kind == AlertEvent::Kind::Down) {
            const Fate fate = fateOf(event, now);
            if (!m_outages.contains(event.key))
                m_order.append(event.key);
            m_outages.insert(event.key, {event, fate});
            if (fate == Fate::Posted)
                outcome.post.append(event);
            continue;
        }
        const auto outage = m_outages.constFind(event.key);
        const bool wasPosted = outage != m_outages.cend() && outage->fate == Fate::Posted;
        if (outage != m_outages.cend()) {
            m_outages.erase(outage);
            m_order.removeOne(event.key);
        }
        // Good news about an outage the user was told of, unless they asked for silence. A snooze
        // until recovery is not such a request: this recovery is what it waits for.
        const bool silenced = m_quietHours.contains(now) || snoozeOf(std::nullopt, now)
            || (snoozeOf(event.sourceID, now).value_or(Snooze{}).until.has_value());
        if (wasPosted && !silenced)
            outcome.post.append(event);
    }
    return outcome;
}

void AlertGate::forget(const QUuid &sourceID)
{
    m_outages.removeIf([&](const auto &entry) { return entry.value().down.sourceID == sourceID; });
    m_order.removeIf([&](const QString &key) { return !m_outages.contains(key); });
}

AlertGate::Outcome AlertGate::review(const QDateTime &now, const Wanted &wanted)
{
    // Held for a while, an alert may outlive the user's wish to hear it: ask again on release.
    const auto stillWanted = [&](const Outage &outage) {
        return !wanted || wanted(outage.down.sourceID);
    };
    Outcome outcome;
    outcome.snoozesChanged = expireSnoozes(now);
    if (m_graceUntil && now >= *m_graceUntil) {
        m_graceUntil.reset();
        outcome.hushChanged = m_online && !m_asleep;
    }
    if (hush(now) != Hush::None)
        return outcome;

    // Failures that began in a hush and are still failing now are real.
    for (const QString &key : std::as_const(m_order)) {
        Outage &outage = m_outages[key];
        if (outage.fate != Fate::HeldForHush)
            continue;
        outage.fate = stillWanted(outage) ? fateOf(outage.down, now) : Fate::Withheld;
        if (outage.fate == Fate::Posted)
            outcome.post.append(outage.down);
    }

    if (m_quietHours.contains(now))
        return outcome;
    QStringList titles;
    std::optional<QDateTime> earliest;
    QList<QUuid> sources;
    for (const QString &key : std::as_const(m_order)) {
        Outage &outage = m_outages[key];
        if (outage.fate != Fate::HeldForQuiet)
            continue;
        outage.fate = snoozed(outage.down.sourceID, now) || !stillWanted(outage) ? Fate::Withheld : Fate::Posted;
        if (outage.fate != Fate::Posted)
            continue;
        titles.append(outage.down.title);
        if (!sources.contains(outage.down.sourceID))
            sources.append(outage.down.sourceID);
        if (outage.down.downSince && (!earliest || *outage.down.downSince < *earliest))
            earliest = outage.down.downSince;
    }
    if (titles.isEmpty())
        return outcome;
    QString detail = titles.mid(0, namedInSummary).join(u", "_s);
    if (titles.size() > namedInSummary)
        detail += u" and %1 more"_s.arg(titles.size() - namedInSummary);
    outcome.post.append({sources.size() == 1 ? sources.first() : QUuid(),
                         AlertEvent::Kind::Down,
                         quietHoursTitle(titles.size()),
                         earliest,
                         u"quietHours"_s,
                         detail});
    return outcome;
}

} // namespace tw
