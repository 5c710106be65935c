#pragma once

#include "kit/model/ServiceRow.h"

#include <QHash>
#include <QList>
#include <QString>

// Reads Uptime Kuma's /metrics page: a small, forgiving reader of the Prometheus text format that
// knows two metrics, monitor_status and monitor_response_time. It cannot fail; a bad line is lost,
// never invented.
namespace tw::KumaMetricsParser {

QList<ServiceRow> parse(const QString &text);

struct Sample
{
    QString name;
    QString value;
    std::optional<QString> url; // the monitor's address, when a browser can open it
    bool operator==(const Sample &) const = default;
};
// The monitor name and value text of one line of `metric`, or nothing.
std::optional<Sample> sample(QStringView metric, QStringView line);
QHash<QString, QString> parseLabels(QStringView text);

} // namespace tw::KumaMetricsParser
