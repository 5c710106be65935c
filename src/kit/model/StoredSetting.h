#pragma once

#include "kit/model/PreferenceStore.h"

#include <optional>

// Reading preferences that other programs, older versions or a hand edit may have written.
namespace tw::StoredSetting {

// A switch as stored: a real boolean, or its text as an INI file returns it; anything else is
// absent, so that the caller's default applies.
std::optional<bool> boolean(const PreferenceStore &settings, const QString &key);

} // namespace tw::StoredSetting
