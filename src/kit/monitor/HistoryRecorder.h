#pragma once

#include "kit/base/Sleep.h"
#include "kit/model/SourceSnapshot.h"
#include "kit/monitor/HistorySample.h"
#include "kit/monitor/WriteWindow.h"

#include <QObject>
#include <QSet>
#include <QUuid>

#include <functional>

namespace tw {

// Keeps a week of what every widget reported and writes it to history.json at most once per
// 30-second window, so a busy estate costs one small write now and then, never one per poll.
// Quitting must call flush() or the last window's samples are lost.
class HistoryRecorder : public QObject
{
    Q_OBJECT
public:
    using Clock = std::function<QDateTime()>;
    static constexpr double writeWindowSeconds = 30;

    HistoryRecorder(QString directory, SleepFunction sleep, Clock now, QObject *parent = nullptr);
    ~HistoryRecorder() override;

    const PollHistory &history() const { return m_history; }

    // Appends one sample per widget, trimmed to a week and 500 per key, and schedules a write.
    void record(const SourceSnapshot &snapshot,
                const std::function<ServiceStatus(const WidgetData &)> &statusOf,
                const std::function<std::optional<double>(const WidgetData &)> &latencyOf);
    // Drops the keys of sources no longer configured.
    void prune(const QSet<QUuid> &sourceIDs);
    // Writes now if anything is unwritten. Never fails; a failed write keeps the samples for later.
    void flush();
    // The text of the last write's failure ("Could not save history.json: …"); empty once a write
    // succeeds.
    const QString &writeError() const { return m_window->writeError(); }

    // Keeps the samples at or after `reference` minus seven days, and the newest 500 of those.
    static QList<HistorySample> trimmed(QList<HistorySample> samples, const QDateTime &reference);

Q_SIGNALS:
    void written();
    void writeErrorChanged();

private:
    QString m_directory;
    Clock m_now;
    PollHistory m_history;
    WriteWindow *m_window; // a child
};

} // namespace tw
