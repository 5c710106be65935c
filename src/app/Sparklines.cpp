#include "Sparklines.h"

#include "kit/model/JsonRead.h"
#include "kit/monitor/AppState.h"
#include "kit/monitor/HistoryRecorder.h"

#include <QSet>

namespace tw {

namespace {

QString sourceOf(const QString &widgetKey)
{
    return widgetKey.section(u'/', 0, 0);
}

void keepLast(QList<double> &values)
{
    if (values.size() > Sparklines::length)
        values.remove(0, values.size() - Sparklines::length);
}

} // namespace

Sparklines::Sparklines(AppState &state, QObject *parent)
    : QObject(parent)
    , m_state(state)
{
    connect(&state, &AppState::polled, this, &Sparklines::append);
    connect(&state, &AppState::sourcesChanged, this, &Sparklines::followSources);
    followSources();
}

void Sparklines::append(const SourceSnapshot &snapshot)
{
    bool grown = false;
    for (const WidgetData &widget : snapshot.widgets) {
        // A host's numbers and a list of values have no one latency to draw.
        if (widget.kind() == WidgetData::Kind::Host || widget.kind() == WidgetData::Kind::KeyValues)
            continue;
        const std::optional<double> latency = widget.latencyMs();
        if (!latency)
            continue;
        QList<double> &values = m_values[widget.widgetKey(snapshot.sourceID)];
        values.append(*latency);
        keepLast(values);
        grown = true;
    }
    if (grown)
        Q_EMIT changed();
}

void Sparklines::followSources()
{
    QSet<QString> configured;
    for (const AnySourceConfig &source : m_state.sources())
        configured.insert(JsonRead::uuidText(source.id()));
    const qsizetype before = m_values.size();
    m_values.removeIf([&](const auto &entry) { return !configured.contains(sourceOf(entry.key())); });
    bool changedHere = m_values.size() != before;

    QSet<QString> drawn;
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it)
        drawn.insert(sourceOf(it.key()));
    const PollHistory &history = m_state.historyRecorder().history();
    for (auto it = history.samples.cbegin(); it != history.samples.cend(); ++it) {
        const QString source = sourceOf(it.key());
        if (!configured.contains(source) || drawn.contains(source))
            continue;
        QList<double> values;
        for (const HistorySample &sample : it.value()) {
            if (sample.latencyMs)
                values.append(*sample.latencyMs);
        }
        keepLast(values);
        if (!values.isEmpty()) {
            m_values.insert(it.key(), values);
            changedHere = true;
        }
    }
    if (changedHere)
        Q_EMIT changed();
}

} // namespace tw
