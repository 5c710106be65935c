#pragma once

#include <QString>

namespace tw {

// The one answer for the whole estate, shown by the tray icon.
enum class OverallStatus { Up, Degraded, Down, Paused, Unknown };

QString toText(OverallStatus status);

} // namespace tw
