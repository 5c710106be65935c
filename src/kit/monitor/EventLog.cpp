#include "EventLog.h"

#include "kit/monitor/EventLogStore.h"

#include <algorithm>

namespace tw {

EventLog::EventLog(QString directory, SleepFunction sleep, Clock now, QObject *parent)
    : QObject(parent)
    , m_directory(std::move(directory))
    , m_now(std::move(now))
    // A file edited by hand may be in any order; old events go, and that alone is no reason to write.
    , m_events(trimmed(EventLogStore::load(m_directory), m_now()))
    , m_window(new WriteWindow(
          writeWindowSeconds,
          std::move(sleep),
          [this] { EventLogStore::save(m_events, m_directory); },
          this))
{
    connect(m_window, &WriteWindow::written, this, &EventLog::written);
    connect(m_window, &WriteWindow::writeErrorChanged, this, &EventLog::writeErrorChanged);
}

EventLog::~EventLog() = default;

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
    m_window->markChanged();
    Q_EMIT changed();
}

void EventLog::flush()
{
    m_window->flush();
}

} // namespace tw
