#pragma once

#include <QString>

#include <optional>

namespace tw {

// Maintenance and Paused are honest states a monitor reports of itself: neither health nor failure,
// never counted as up or down and never alerted on.
enum class ServiceStatus { Up, Down, Warn, Unknown, Maintenance, Paused };

QString toText(ServiceStatus status);
std::optional<ServiceStatus> serviceStatusFromString(QStringView text);

} // namespace tw
