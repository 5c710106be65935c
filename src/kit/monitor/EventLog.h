#pragma once

#include "kit/base/Sleep.h"
#include "kit/monitor/RecentEvent.h"
#include "kit/monitor/WriteWindow.h"

#include <QObject>

#include <functional>

namespace tw {

// The recent events of the past week, newest first, kept in events.json. An outage of the whole
// estate brings a burst of events at once: they are written together at the end of a short window
// rather than one file write each. Quitting must call flush() or the last window's events are lost.
class EventLog : public QObject
{
    Q_OBJECT
public:
    using Clock = std::function<QDateTime()>;
    static constexpr double writeWindowSeconds = 5;
    static constexpr qint64 maxAgeSeconds = 604800; // seven days
    static constexpr qsizetype maxEvents = 1000;

    EventLog(QString directory, SleepFunction sleep, Clock now, QObject *parent = nullptr);
    ~EventLog() override;

    // Newest first.
    const QList<RecentEvent> &events() const { return m_events; }

    void record(const RecentEvent &event);
    // Writes now if anything is unwritten. Never fails; a failed write keeps the events for later.
    void flush();
    // The text of the last write's failure ("Could not save events.json: …"); empty once a write
    // succeeds.
    const QString &writeError() const { return m_window->writeError(); }

    // Newest first, none older than a week before `reference`, at most maxEvents. Events of the
    // same time keep their order.
    static QList<RecentEvent> trimmed(QList<RecentEvent> events, const QDateTime &reference);
    // `event` in its place by time; before the events of the same time, which happened earlier.
    static QList<RecentEvent> inserted(QList<RecentEvent> events, const RecentEvent &event);
    // The events at or after `from`, in their order.
    static QList<RecentEvent> since(const QList<RecentEvent> &events, const QDateTime &from);

Q_SIGNALS:
    void changed();
    void written();
    void writeErrorChanged();

private:
    QString m_directory;
    Clock m_now;
    QList<RecentEvent> m_events;
    WriteWindow *m_window; // a child
};

} // namespace tw
