#pragma once

#include "kit/model/BeszelConfig.h"
#include "kit/model/HostStats.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

#include <optional>

namespace tw {

// Every system of a Beszel hub as a host row with CPU, memory and disk use and, where the hub has
// them, its drives' temperatures. The hub's records are read loosely: a field a hub version lacks
// leaves a gap in one row, never a failed poll.
class BeszelProvider : public SourceProvider
{
public:
    BeszelProvider(const AnySourceConfig &config,
                   std::shared_ptr<CredentialStore> credentials,
                   ProviderTransports transports);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

    // The rows from the two collections' bodies; `smartDevices` absent when that fetch failed.
    static QList<HostStats> hosts(const QByteArray &systems, const std::optional<QByteArray> &smartDevices);

    static constexpr auto noSystemsText = "no systems visible — the token may be wrong or expired";

private:
    BeszelConfig m_config;
    std::shared_ptr<CredentialStore> m_credentials;
    std::shared_ptr<HTTPClient> m_http;
};

} // namespace tw
