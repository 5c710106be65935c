#include "ServiceStatus.h"

namespace tw {

QString toText(ServiceStatus status)
{
    switch (status) {
    case ServiceStatus::Up:
        return QStringLiteral("up");
    case ServiceStatus::Down:
        return QStringLiteral("down");
    case ServiceStatus::Warn:
        return QStringLiteral("warn");
    case ServiceStatus::Unknown:
        return QStringLiteral("unknown");
    case ServiceStatus::Maintenance:
        return QStringLiteral("maintenance");
    case ServiceStatus::Paused:
        return QStringLiteral("paused");
    }
    return {};
}

std::optional<ServiceStatus> serviceStatusFromString(QStringView text)
{
    for (ServiceStatus s : {ServiceStatus::Up,
                            ServiceStatus::Down,
                            ServiceStatus::Warn,
                            ServiceStatus::Unknown,
                            ServiceStatus::Maintenance,
                            ServiceStatus::Paused}) {
        if (text == toText(s))
            return s;
    }
    return std::nullopt;
}

} // namespace tw
