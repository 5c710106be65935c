#include "AlertEvaluator.h"

#include "kit/model/JsonRead.h"

namespace tw {

using Reading = AlertEvaluator::Reading;

namespace {

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
    // A host past its limits is still up: its outage and its limits are counted apart.
    const auto *host = widget.as<HostStats>();
    switch (host ? host->status : widget.status()) {
    case ServiceStatus::Up:
        return Reading::Healthy;
    case ServiceStatus::Down:
        return Reading::Failing;
    default:
        // A warning neither advances nor resets a count.
        return Reading::Neither;
    }
}

// A source that reports on other things (Kuma's monitors, a hub's hosts, an endpoint's values) being
// out of reach says nothing about them: only that they can't be seen.
QString unreachableWords(const AnySourceConfig &source)
{
    switch (source.kind()) {
    case AnySourceConfig::Kind::Kuma:
    case AnySourceConfig::Kind::Beszel:
    case AnySourceConfig::Kind::JSONWidget:
        return QStringLiteral(" can't be reached");
    default:
        return QStringLiteral(" is unreachable");
    }
}

// Only a host that is up is measured against its limits.
Reading limitsReadingOf(const HostStats &host)
{
    if (host.status != ServiceStatus::Up)
        return Reading::Neither;
    return host.overLimits.isEmpty() ? Reading::Healthy : Reading::Failing;
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
                       common.displayName + unreachableWords(source),
                       now,
                       JsonRead::uuidText(common.id),
                       {}}};
}

void AlertEvaluator::track(QList<AlertEvent> &events,
                           const SourceConfig &source,
                           const QString &key,
                           Reading reading,
                           const QDateTime &now,
                           const Words &words)
{
    switch (reading) {
    case Reading::Neither:
        return;
    case Reading::Failing: {
        const qint64 count = ++m_widgetFailures[key];
        if (reached(count, source.alertThreshold) && !m_widgetDownSince.contains(key)) {
            m_widgetDownSince.insert(key, now);
            events.append({source.id,
                           AlertEvent::Kind::Down,
                           words.down,
                           now,
                           key,
                           words.downDetail.isEmpty() ? std::nullopt : std::optional(words.downDetail)});
        }
        return;
    }
    case Reading::Healthy:
        m_widgetFailures.remove(key);
        if (m_widgetDownSince.contains(key))
            events.append(
                {source.id, AlertEvent::Kind::Recovered, words.recovered, m_widgetDownSince.take(key), key, {}});
        return;
    }
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
        track(events,
              common,
              key,
              readingOf(widget),
              now,
              {widget.name() + QStringLiteral(" is down"), {}, widget.name() + QStringLiteral(" recovered")});
        if (const auto *host = widget.as<HostStats>()) {
            track(events,
                  common,
                  key + limitsSuffix,
                  limitsReadingOf(*host),
                  now,
                  {host->name + QStringLiteral(" is past its limits"),
                   host->overLimits.join(QStringLiteral(", ")),
                   host->name + QStringLiteral(" is back within its limits")});
        }
    }
    return events;
}

} // namespace tw
