#pragma once

#include "app/ReleaseManifest.h"

namespace tw {

// What a release check found; both cases carry the manifest that was read.
struct ReleaseCheckResult
{
    enum class Kind { UpToDate, UpdateAvailable };

    Kind kind = Kind::UpToDate;
    ReleaseManifest manifest;

    bool operator==(const ReleaseCheckResult &) const = default;
};

} // namespace tw
