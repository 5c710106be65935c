#pragma once

#include "kit/base/StopSource.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"
#include "kit/providers/ProviderTransports.h"

#include <QCoroTask>

#include <functional>
#include <memory>

namespace tw {

class CredentialStore;

// One poll of one source. A provider is made fresh for every poll and holds nothing between polls.
// fetch() throws ProviderError with the user's text, or Cancelled once `stop` has fired; it must
// give up its network exchange promptly when `stop` fires.
class SourceProvider
{
public:
    virtual ~SourceProvider() = default;
    virtual QCoro::Task<SourceSnapshot> fetch(StopToken stop) = 0;
};

// Builds the provider of a configuration's kind, or throws ProviderError ("expected kuma config").
using ProviderMaker = std::function<std::unique_ptr<SourceProvider>(const AnySourceConfig &config,
                                                                    std::shared_ptr<CredentialStore> credentials)>;

// What a provider is made from: the source, the store its secret is read from, the transports.
struct ProviderContext
{
    const AnySourceConfig &source;
    std::shared_ptr<CredentialStore> credentials;
    const ProviderTransports &transports;
};

// Each kind's provider defines its maker beside it; the registry picks one by the configuration's
// type, so a kind without a provider fails to link.
#define TW_DECLARE_PROVIDER_MAKER(Kind)                                                                                \
    std::unique_ptr<SourceProvider> makeProvider(const Kind##Config &config, const ProviderContext &context);
TW_SOURCE_KINDS(TW_DECLARE_PROVIDER_MAKER)
#undef TW_DECLARE_PROVIDER_MAKER

} // namespace tw
