#include "EventLog.h"

#include "kit/base/Logging.h"
#include "kit/monitor/EventLogStore.h"

#include <QPointer>

#include <algorithm>

namespace tw {

EventLog::EventLog(QString directory, SleepFunction sleep, Clock now, QObject *parent)
    : QObject(parent)
    , m_directory(std::move(directory))
    , m_sleep(std::move(sleep))
    , m_now(std::move(now))
    // A file edited by hand may be in any order; old events go, and that alone is no reason to write.
    , m_events(trimmed(EventLogStore::load(m_directory), m_now()))
{ }

EventLog::~EventLog()
{
    if (m_pendingWrite)
        m_pendingWrite->requestStop();
}

QList<RecentEvent> EventLog::trimmed(QList<RecentEvent> events, const QDateTime &reference)
{
    std::stable_sort(events.begin(), events.end(), [](const RecentEvent &a, const RecentEvent &b) {
        return a.time > b.time;
    });
    const QDateTime oldest = reference.addSecs(-maxAgeSeconds);
    events.removeIf([&](const RecentEvent &event) { return event.time < oldest; });
    if (events.size() > maxEvents)
        events.resize(maxEvents);
    return events;
}

QList<RecentEvent> EventLog::inserted(QList<RecentEvent> events, const RecentEvent &event)
{
    const auto place = std::find_if(events.cbegin(), events.cend(), [&](const RecentEvent &other) {
        return other.time <= event.time;
    });
    events.insert(std::distance(events.cbegin(), place), event);
    return events;
}

QList<RecentEvent> EventLog::since(const QList<RecentEvent> &events, const QDateTime &from)
{
    QList<RecentEvent> kept;
    std::copy_if(events.cbegin(), events.cend(), std::back_inserter(kept), [&](const RecentEvent &event) {
        return event.time >= from;
    });
    return kept;
}

void EventLog::record(const RecentEvent &event)
{
    m_events = trimmed(inserted(std::move(m_events), event), m_now());
    m_dirty = true;
    scheduleWrite();
    Q_EMIT changed();
}

void EventLog::flush()
{
    if (m_pendingWrite) {
        m_pendingWrite->requestStop();
        m_pendingWrite.reset();
    }
    write();
}

void EventLog::scheduleWrite()
{
    if (m_pendingWrite)
        return; // rides on the window already open
    m_pendingWrite = makeStopToken();
    [](QPointer<EventLog> self, SleepFunction sleep, StopToken stop) -> QCoro::Task<> {
        co_await sleep(writeWindowSeconds, stop);
        if (stop->isStopped() || !self)
            co_return;
        self->m_pendingWrite.reset();
        self->write();
    }(this, m_sleep, m_pendingWrite);
}

void EventLog::write()
{
    if (!m_dirty)
        return;
    QString error;
    try {
        EventLogStore::save(m_events, m_directory);
        m_dirty = false;
    } catch (const std::exception &failure) {
        // The events stay in memory and dirty: the next event, or the flush at quitting, tries again.
        error = QString::fromUtf8(failure.what());
        qCWarning(logging::storage, "%s", failure.what());
    }
    if (error != m_writeError) {
        m_writeError = error;
        Q_EMIT writeErrorChanged();
    }
    if (error.isEmpty())
        Q_EMIT written();
}

} // namespace tw
