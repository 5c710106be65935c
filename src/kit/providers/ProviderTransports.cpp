#include "ProviderTransports.h"

#include "kit/transport/BoundedHTTPClient.h"
#include "kit/transport/TCPByteChannelFactory.h"

namespace tw {

ProviderTransports ProviderTransports::production()
{
    static const auto channels = std::make_shared<TCPByteChannelFactory>(std::chrono::seconds(3));
    return {BoundedHTTPClient::shared(), channels};
}

} // namespace tw
