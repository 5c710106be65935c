#pragma once

#include "kit/model/TCPPortConfig.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

class AnySourceConfig;

// Does a TCP connection to this host and port open? A bare connect and close; nothing is sent.
// Every failure to connect reads the same: a down row with "closed".
class TCPPortProvider : public SourceProvider
{
public:
    TCPPortProvider(const AnySourceConfig &config, ProviderTransports transports);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    TCPPortConfig m_config;
    std::shared_ptr<ByteChannelFactory> m_channels;
};

} // namespace tw
