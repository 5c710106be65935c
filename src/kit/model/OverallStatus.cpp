#include "OverallStatus.h"

namespace tw {

QString toText(OverallStatus status)
{
    switch (status) {
    case OverallStatus::Up:
        return QStringLiteral("up");
    case OverallStatus::Degraded:
        return QStringLiteral("degraded");
    case OverallStatus::Down:
        return QStringLiteral("down");
    case OverallStatus::Paused:
        return QStringLiteral("paused");
    case OverallStatus::Unknown:
        return QStringLiteral("unknown");
    }
    return {};
}

OverallStatus overallStatusOf(const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors)
{
    auto result = OverallStatus::Unknown;
    for (const SourceSnapshot &snapshot : snapshots) {
        // What a failing source last saw is no news: its failure counts, not its old rows.
        if (errors.contains(snapshot.sourceID))
            continue;
        for (const WidgetData &widget : snapshot.widgets) {
            switch (widget.status()) {
            case ServiceStatus::Down:
                return OverallStatus::Down;
            case ServiceStatus::Warn:
                result = OverallStatus::Degraded;
                break;
            case ServiceStatus::Up:
                if (result == OverallStatus::Unknown)
                    result = OverallStatus::Up;
                break;
            case ServiceStatus::Unknown:
            case ServiceStatus::Maintenance:
            case ServiceStatus::Paused:
                break;
            }
        }
    }
    return errors.isEmpty() ? result : OverallStatus::Degraded;
}

} // namespace tw
