#pragma once

#include "kit/model/HTTPPingConfig.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

class AnySourceConfig;

// One GET to a URL, its status compared with the one expected. A failing endpoint is a down row
// with the reason, not a failed poll; only a URL that cannot be parsed fails the poll.
class HTTPPingProvider : public SourceProvider
{
public:
    HTTPPingProvider(const AnySourceConfig &config, ProviderTransports transports);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    HTTPPingConfig m_config;
    std::shared_ptr<HTTPClient> m_http;
};

} // namespace tw
