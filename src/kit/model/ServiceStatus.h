#pragma once

#include <QString>

#include <optional>

namespace tw {

enum class ServiceStatus { Up, Down, Warn, Unknown };

QString toText(ServiceStatus status);
std::optional<ServiceStatus> serviceStatusFromString(QStringView text);

} // namespace tw
