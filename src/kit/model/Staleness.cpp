#include "Staleness.h"

namespace tw::Staleness {

std::optional<QDateTime>
since(const AnySourceConfig &source, const SourceSnapshot &snapshot, bool failing, const QDateTime &now)
{
    if (failing)
        return snapshot.fetchedAt;
    if (!now.isValid() || !snapshot.fetchedAt.isValid())
        return std::nullopt;
    const double interval = PollInterval::clamp(source.common().pollInterval);
    if (double(snapshot.fetchedAt.msecsTo(now)) > afterIntervals * interval * 1000)
        return snapshot.fetchedAt;
    return std::nullopt;
}

QHash<QUuid, SourceSnapshot>
current(const QList<AnySourceConfig> &sources, const QHash<QUuid, SourceSnapshot> &snapshots, const QDateTime &now)
{
    QHash<QUuid, SourceSnapshot> kept = snapshots;
    for (const AnySourceConfig &source : sources) {
        const auto snapshot = snapshots.constFind(source.id());
        if (snapshot != snapshots.cend() && since(source, *snapshot, false, now))
            kept.remove(source.id());
    }
    return kept;
}

} // namespace tw::Staleness
