#pragma once

#include "kit/desktop/AlertCenter.h"
#include "kit/monitor/AppState.h"

#include <memory>

// What the installed program runs with: the desktop's credential store, every kind of provider over
// the process's shared transports, the standard data folder and preferences, and desktop
// notifications.
namespace tw::ProductionEnvironment {

// Alerts go to `alerts`, which the program gives its tray fallback once the tray exists.
AppState::Environment make(std::shared_ptr<AlertCenter> alerts);

} // namespace tw::ProductionEnvironment
