#pragma once

#include "kit/transport/ByteChannel.h"
#include "kit/transport/HTTPClient.h"

#include <memory>

namespace tw {

class CredentialStore;

// What a provider talks through. Production uses the process's shared clients; tests hand in
// clients bound to local peers or scripted ones.
struct ProviderTransports
{
    std::shared_ptr<HTTPClient> http;
    std::shared_ptr<ByteChannelFactory> channels;

    static ProviderTransports production();
};

} // namespace tw
