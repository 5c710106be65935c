#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QUuid>

// The estate in Prometheus' text format, as `watch --metrics` serves it: per widget a gauge per
// state (1 for the state it is in) and its latency, per source whether its last poll succeeded and
// how long it took. Labels: `source` and `widget` by name, and `source_id`, since names may repeat.
namespace tw::MetricsPage {

struct Estate
{
    QList<AnySourceConfig> sources;
    QHash<QUuid, SourceSnapshot> snapshots; // each source's last good poll
    QHash<QUuid, QString> errors; // the sources whose last poll failed
    QHash<QUuid, double> pollSeconds; // the last poll's duration
};

QByteArray render(const Estate &estate);

// A label value with backslash, double quote and line feed escaped.
QString escaped(const QString &value);

constexpr auto contentType = "text/plain; version=0.0.4; charset=utf-8";

} // namespace tw::MetricsPage
