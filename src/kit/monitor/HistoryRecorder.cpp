#include "HistoryRecorder.h"

#include "kit/model/JsonRead.h"
#include "kit/monitor/HistoryStore.h"

namespace tw {

HistoryRecorder::HistoryRecorder(QString directory, SleepFunction sleep, Clock now, QObject *parent)
    : QObject(parent)
    , m_directory(std::move(directory))
    , m_now(std::move(now))
    , m_history(HistoryStore::load(m_directory))
    , m_window(new WriteWindow(
          writeWindowSeconds,
          std::move(sleep),
          [this] { HistoryStore::save(m_history, m_directory); },
          this))
{
    connect(m_window, &WriteWindow::written, this, &HistoryRecorder::written);
    connect(m_window, &WriteWindow::writeErrorChanged, this, &HistoryRecorder::writeErrorChanged);
    // Old samples go at start; this alone does not warrant a write.
    const QDateTime reference = m_now();
    for (auto it = m_history.samples.begin(); it != m_history.samples.end();) {
        it.value() = trimmed(std::move(it.value()), reference);
        it = it.value().isEmpty() ? m_history.samples.erase(it) : std::next(it);
    }
}

HistoryRecorder::~HistoryRecorder() = default;

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
    m_window->markChanged();
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
        m_window->markChanged();
    }
}

void HistoryRecorder::flush()
{
    m_window->flush();
}

} // namespace tw
