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

private:
    QHash<QUuid, qint64> m_failures;
    QHash<QUuid, QDateTime> m_sourceDownSince;
    QHash<QString, qint64> m_widgetFailures;
    QHash<QString, QDateTime> m_widgetDownSince;
};

} // namespace tw
