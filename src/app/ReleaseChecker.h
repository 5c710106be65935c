#pragma once

#include "app/ReleaseCheckResult.h"
#include "kit/transport/HTTPClient.h"

#include <array>
#include <memory>
#include <optional>

namespace tw {

// Asks the maker's web site whether a newer version exists; Tidewatch never updates itself, the user
// downloads by hand. Runs only when the user asks, and keeps no state between checks.
struct ReleaseChecker
{
    using Version = std::array<qint64, 3>;

    QUrl endpoint = defaultEndpoint();
    std::shared_ptr<HTTPClient> http;

    // Throws ProviderError: the transport's own texts, "HTTP <status>", or "invalid update manifest"
    // for any reply that is not a usable manifest. Throws Cancelled once `stop` fired.
    QCoro::Task<ReleaseCheckResult> check(QString currentVersion, StopToken stop = makeStopToken()) const;

    // Exactly three dot-separated signed decimal integers ("1.10.0"); nothing for "1.2", "v1.2.3",
    // "1.2.3-beta" and the like.
    static std::optional<Version> parseVersion(QStringView text);
    static bool isNewer(const Version &remote, const Version &current);

    // The manifest address this build was configured with (TW_RELEASE_MANIFEST_URL).
    static QUrl defaultEndpoint();
    static constexpr auto invalidManifestText = "invalid update manifest";
};

} // namespace tw
