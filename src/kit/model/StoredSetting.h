#pragma once

#include "kit/model/PreferenceStore.h"

#include <optional>

// Reading preferences that other programs, older versions or a hand edit may have written.
namespace tw::StoredSetting {

// A switch as stored: a real boolean, or its text as an INI file returns it; anything else is
// absent, so that the caller's default applies.
std::optional<bool> boolean(const PreferenceStore &settings, const QString &key);

// A switch of the application and what it reads as until the user sets it. Every switch is
// declared here once; the tray program and the command line's watcher read the same ones.
struct Flag
{
    const char *key;
    bool fallback;
};

inline constexpr Flag launchAtLogin{"launchAtLogin", false};
inline constexpr Flag globalQuiet{"globalQuiet", false};
inline constexpr Flag soundAlerts{"soundAlerts", true};
inline constexpr Flag notifyOnRecovery{"notifyOnRecovery", true};
inline constexpr Flag showSparklines{"showSparklines", true};
inline constexpr Flag compactMode{"compactMode", false};
inline constexpr Flag onboardingCompleted{"onboardingCompleted", false};
inline constexpr Flag statusShapes{"statusShapes", false};

bool flag(const PreferenceStore &settings, const Flag &which);

} // namespace tw::StoredSetting
