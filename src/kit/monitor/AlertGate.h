#pragma once

#include "kit/model/QuietHours.h"
#include "kit/model/Snooze.h"
#include "kit/monitor/AlertEvent.h"

#include <QHash>

#include <functional>

namespace tw {

// Decides which alerts reach the desktop, and when. Sits between the evaluator, which says what went
// down or came back, and the notifications. It withholds alerts for snoozed sources, holds those of
// quiet hours for one summary at the window's end, and holds failures while the machine is offline,
// asleep or just awake, posting them only if they outlast that. A recovery is posted only when its
// outage was. No clock and no timer: the caller passes the time in and calls review() now and then.
class AlertGate
{
public:
    // Why failures are not trusted at the moment.
    enum class Hush { None, Offline, Asleep, WakingUp };

    // Long enough for Wi-Fi, DHCP and a VPN to come back after a resume.
    static constexpr qint64 defaultGraceMs = 60'000;
    explicit AlertGate(qint64 graceMs = defaultGraceMs)
        : m_graceMs(graceMs)
    { }

    struct Outcome
    {
        QList<AlertEvent> post;
        bool snoozesChanged = false;
        bool hushChanged = false;
        bool operator==(const Outcome &) const = default;
    };

    // Whether a source still exists and wants its alerts; asked of every held alert on its release.
    using Wanted = std::function<bool(const QUuid &sourceID)>;

    Outcome admit(const QList<AlertEvent> &events, const QDateTime &now);
    // Ends snoozes whose time has come, releases what outlasted a hush, sums up quiet hours. A held
    // outage of a source that is gone or muted by then is withheld: neither it nor its recovery is
    // posted.
    Outcome review(const QDateTime &now, const Wanted &wanted = {});
    // Drops every outage of a removed source.
    void forget(const QUuid &sourceID);

    void setQuietHours(const QuietHours &hours) { m_quietHours = hours; }
    const QuietHours &quietHours() const { return m_quietHours; }

    // Each returns whether the hush changed.
    bool setOnline(bool online, const QDateTime &now);
    bool setAsleep(bool asleep, const QDateTime &now);
    Hush hush(const QDateTime &now) const;
    bool isOnline() const { return m_online; }
    bool isAsleep() const { return m_asleep; }

    const QList<Snooze> &snoozes() const { return m_snoozes; }
    void setSnoozes(const QList<Snooze> &snoozes) { m_snoozes = snoozes; }
    // A new snooze replaces the one of the same source (or of everything).
    void snooze(const Snooze &snooze);
    bool endSnooze(const std::optional<QUuid> &sourceID);
    // The source polled without a failure: its snooze "until it recovers" is over.
    bool sourceHealthy(const QUuid &sourceID);
    // The snooze in force for this source alone, or for everything when no id is given.
    std::optional<Snooze> snoozeOf(const std::optional<QUuid> &sourceID, const QDateTime &now) const;

    static QString quietHoursTitle(qsizetype count);

private:
    enum class Fate { Posted, Withheld, HeldForHush, HeldForQuiet };
    struct Outage
    {
        AlertEvent down;
        Fate fate = Fate::Posted;
    };

    Fate fateOf(const AlertEvent &down, const QDateTime &now) const;
    bool snoozed(const QUuid &sourceID, const QDateTime &now) const;
    bool expireSnoozes(const QDateTime &now);

    qint64 m_graceMs;
    QuietHours m_quietHours;
    QList<Snooze> m_snoozes;
    QHash<QString, Outage> m_outages; // by the event's key
    QList<QString> m_order; // keys in the order their outages began, for a stable summary
    bool m_online = true;
    bool m_asleep = false;
    std::optional<QDateTime> m_graceUntil;
};

QString toText(AlertGate::Hush hush);

} // namespace tw
