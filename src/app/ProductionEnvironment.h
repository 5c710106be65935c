#pragma once

#include "kit/monitor/AppState.h"

// What the installed program runs with: the desktop's credential store, every kind of provider over
// the process's shared transports, the standard data folder and preferences, and desktop
// notifications.
namespace tw::ProductionEnvironment {

AppState::Environment make();

} // namespace tw::ProductionEnvironment
