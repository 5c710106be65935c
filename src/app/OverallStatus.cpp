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

} // namespace tw
