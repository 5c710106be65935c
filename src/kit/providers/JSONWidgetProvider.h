#pragma once

#include "kit/model/JSONWidgetConfig.h"
#include "kit/providers/ProviderTransports.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

// Any JSON endpoint as a small table: one labelled value per configured path, "—" where a path
// finds nothing. Only the exchange itself can fail a poll.
class JSONWidgetProvider : public SourceProvider
{
public:
    JSONWidgetProvider(const AnySourceConfig &config,
                       std::shared_ptr<CredentialStore> credentials,
                       ProviderTransports transports);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    JSONWidgetConfig m_config;
    std::shared_ptr<CredentialStore> m_credentials;
    std::shared_ptr<HTTPClient> m_http;
};

} // namespace tw
