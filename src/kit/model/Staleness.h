#pragma once

#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"

#include <QDateTime>

#include <optional>

// When a source's last readings stop being news. Its rows then show their age instead of their
// colour, and the estate's status no longer counts them, up or down.
namespace tw::Staleness {

// How many of its intervals a source may stay silent before its readings are stale.
constexpr int afterIntervals = 3;

// When the readings were taken, if they can no longer be shown as current: the source fails now, or
// has not answered for `afterIntervals` of its intervals. An invalid `now` ages nothing.
std::optional<QDateTime>
since(const AnySourceConfig &source, const SourceSnapshot &snapshot, bool failing, const QDateTime &now);

// The snapshots whose readings are still current at `now`.
QHash<QUuid, SourceSnapshot>
current(const QList<AnySourceConfig> &sources, const QHash<QUuid, SourceSnapshot> &snapshots, const QDateTime &now);

} // namespace tw::Staleness
