#include "AlertEvaluator.h"

#include "kit/model/JsonRead.h"

namespace tw {

namespace {

enum class Reading { Healthy, Failing, Neither };

Reading readingOf(const WidgetData &widget)
{
    switch (widget.kind()) {
    case WidgetData::Kind::KeyValues:
        return Reading::Neither;
    case WidgetData::Kind::Game:
        return std::get<GameServerStatus>(widget.payload).online ? Reading::Healthy : Reading::Failing;
    default:
        break;
    }
    switch (widget.status()) {
    case ServiceStatus::Up:
        return Reading::Healthy;
    case ServiceStatus::Down:
        return Reading::Failing;
    default:
        // A warning neither advances nor resets a count.
        return Reading::Neither;
    }
}

// 0 and below behave like 1: the first failure alerts.
bool reached(qint64 count, qint64 threshold)
{
    return count >= std::max<qint64>(threshold, 1);
}

} // namespace

QList<AlertEvent> AlertEvaluator::recordFailure(const AnySourceConfig &source, const QDateTime &now)
{
    const SourceConfig &common = source.common();
    const qint64 count = ++m_failures[common.id];
    if (!reached(count, common.alertThreshold) || m_sourceDownSince.contains(common.id))
        return {};
    m_sourceDownSince.insert(common.id, now);
    return {AlertEvent{common.id,
                       AlertEvent::Kind::Down,
                       common.displayName + QStringLiteral(" is unreachable"),
                       now,
                       JsonRead::uuidText(common.id),
                       {}}};
}

QList<AlertEvent>
AlertEvaluator::recordSuccess(const AnySourceConfig &source, const SourceSnapshot &snapshot, const QDateTime &now)
{
    const SourceConfig &common = source.common();
    QList<AlertEvent> events;
    m_failures.remove(common.id);
    if (m_sourceDownSince.contains(common.id)) {
        const QDateTime since = m_sourceDownSince.take(common.id);
        events.append({common.id,
                       AlertEvent::Kind::Recovered,
                       common.displayName + QStringLiteral(" recovered"),
                       since,
                       JsonRead::uuidText(common.id),
                       {}});
    }

    for (const WidgetData &widget : snapshot.widgets) {
        const QString key = widget.widgetKey(snapshot.sourceID);
        switch (readingOf(widget)) {
        case Reading::Neither:
            break;
        case Reading::Failing: {
            const qint64 count = ++m_widgetFailures[key];
            if (reached(count, common.alertThreshold) && !m_widgetDownSince.contains(key)) {
                m_widgetDownSince.insert(key, now);
                events.append(
                    {common.id, AlertEvent::Kind::Down, widget.name() + QStringLiteral(" is down"), now, key, {}});
            }
            break;
        }
        case Reading::Healthy:
            m_widgetFailures.remove(key);
            if (m_widgetDownSince.contains(key)) {
                const QDateTime since = m_widgetDownSince.take(key);
                events.append({common.id,
                               AlertEvent::Kind::Recovered,
                               widget.name() + QStringLiteral(" recovered"),
                               since,
                               key,
                               {}});
            }
            break;
        }
    }
    return events;
}

} // namespace tw
