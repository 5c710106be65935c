#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"
#include "kit/monitor/AlertEvent.h"

#include <QHash>

namespace tw {

// Turns poll results into down and recovery alerts, once per outage. Two layers: a source is down
// when it cannot be polled, a widget when a good poll reports it failed. Both use the source's
// alert threshold. No clock and no timer: the caller passes the time in.
class AlertEvaluator
{
public:
    QList<AlertEvent> recordFailure(const AnySourceConfig &source, const QDateTime &now);
    QList<AlertEvent>
    recordSuccess(const AnySourceConfig &source, const SourceSnapshot &snapshot, const QDateTime &now);

    bool operator==(const AlertEvaluator &) const = default;

    // The key of a host's limits outage: the host's widget key and this.
    static constexpr QLatin1String limitsSuffix{"#limits"};

    enum class Reading { Healthy, Failing, Neither };

private:
    struct Words
    {
        QString down;
        QString downDetail; // the notification's body, when not the outage's length
        QString recovered;
    };
    // Counts one widget-level reading under `key` and appends the alert it brings.
    void track(QList<AlertEvent> &events,
               const SourceConfig &source,
               const QString &key,
               Reading reading,
               const QDateTime &now,
               const Words &words);

    QHash<QUuid, qint64> m_failures;
    QHash<QUuid, QDateTime> m_sourceDownSince;
    QHash<QString, qint64> m_widgetFailures;
    QHash<QString, QDateTime> m_widgetDownSince;
};

} // namespace tw
