#pragma once

#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

// Turns a configuration into the provider of its kind. A provider lives for one poll.
namespace tw::ProviderRegistry {

// Throws ProviderError when the configuration cannot be polled as it stands.
std::unique_ptr<SourceProvider>
make(const AnySourceConfig &config, std::shared_ptr<CredentialStore> credentials, const ProviderTransports &transports);

// The engine's maker over the given transports (the production ones by default).
ProviderMaker maker(ProviderTransports transports = ProviderTransports::production());

} // namespace tw::ProviderRegistry
