#include "HistoryRecorder.h"

#include "kit/base/Logging.h"
#include "kit/model/JsonRead.h"
#include "kit/monitor/HistoryStore.h"

#include <QPointer>

namespace tw {

HistoryRecorder::HistoryRecorder(QString directory, SleepFunction sleep, Clock now, QObject *parent)
    : QObject(parent)
    , m_directory(std::move(directory))
    , m_sleep(std::move(sleep))
    , m_now(std::move(now))
    , m_history(HistoryStore::load(m_directory))
{
    // Old samples go at start; this alone does not warrant a write.
    const QDateTime reference = m_now();
    for (auto it = m_history.samples.begin(); it != m_history.samples.end();) {
        it.value() = trimmed(std::move(it.value()), reference);
        it = it.value().isEmpty() ? m_history.samples.erase(it) : std::next(it);
    }
}

HistoryRecorder::~HistoryRecorder()
{
    if (m_pendingWrite)
        m_pendingWrite->requestStop();
}

QList<HistorySample> HistoryRecorder::trimmed(QList<HistorySample> samples, const QDateTime &reference)
{
    const QDateTime oldest = reference.addSecs(-HistoryLimits::maxAgeSeconds);
    samples.removeIf([&](const HistorySample &sample) { return sample.time < oldest; });
    if (samples.size() > HistoryLimits::maxSamplesPerKey)
        samples.remove(0, samples.size() - HistoryLimits::maxSamplesPerKey);
    return samples;
}

void HistoryRecorder::record(const SourceSnapshot &snapshot,
                             const std::function<ServiceStatus(const WidgetData &)> &statusOf,
                             const std::function<std::optional<double>(const WidgetData &)> &latencyOf)
{
    for (const WidgetData &widget : snapshot.widgets) {
        QList<HistorySample> &list = m_history.samples[widget.widgetKey(snapshot.sourceID)];
        list.append({snapshot.fetchedAt, latencyOf(widget), statusOf(widget)});
        list = trimmed(std::move(list), snapshot.fetchedAt);
    }
    m_dirty = true;
    scheduleWrite();
}

void HistoryRecorder::prune(const QSet<QUuid> &sourceIDs)
{
    QSet<QString> prefixes;
    for (const QUuid &id : sourceIDs)
        prefixes.insert(JsonRead::uuidText(id) + u'/');
    const qsizetype before = m_history.samples.size();
    m_history.samples.removeIf([&](const auto &entry) {
        const qsizetype slash = entry.key().indexOf(u'/');
        return slash < 0 || !prefixes.contains(entry.key().left(slash + 1));
    });
    if (m_history.samples.size() != before) {
        m_dirty = true;
        scheduleWrite();
    }
}

void HistoryRecorder::flush()
{
    if (m_pendingWrite) {
        m_pendingWrite->requestStop();
        m_pendingWrite.reset();
    }
    write();
}

void HistoryRecorder::scheduleWrite()
{
    if (m_pendingWrite)
        return; // rides on the window already open
    m_pendingWrite = makeStopToken();
    [](QPointer<HistoryRecorder> self, SleepFunction sleep, StopToken stop) -> QCoro::Task<> {
        co_await sleep(writeWindowSeconds, stop);
        if (stop->isStopped() || !self)
            co_return;
        self->m_pendingWrite.reset();
        self->write();
    }(this, m_sleep, m_pendingWrite);
}

void HistoryRecorder::write()
{
    if (!m_dirty)
        return;
    QString error;
    try {
        HistoryStore::save(m_history, m_directory);
        m_dirty = false;
    } catch (const std::exception &failure) {
        // The samples stay in memory and dirty: the next change, or the flush at quitting, tries again.
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
