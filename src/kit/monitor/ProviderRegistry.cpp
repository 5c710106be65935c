#include "ProviderRegistry.h"

#include "kit/model/AnySourceConfig.h"

namespace tw::ProviderRegistry {

std::unique_ptr<SourceProvider>
make(const AnySourceConfig &config, std::shared_ptr<CredentialStore> credentials, const ProviderTransports &transports)
{
    const ProviderContext context{config, std::move(credentials), transports};
    return std::visit([&context](const auto &kind) { return makeProvider(kind, context); }, config.payload());
}

ProviderMaker maker(ProviderTransports transports)
{
    return [transports](const AnySourceConfig &config, std::shared_ptr<CredentialStore> credentials) {
        return make(config, std::move(credentials), transports);
    };
}

} // namespace tw::ProviderRegistry
