#include "JSONWidgetProvider.h"

#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/providers/JSONPathEvaluator.h"
#include "kit/providers/ProviderSupport.h"

using namespace Qt::StringLiterals;

namespace tw {

JSONWidgetProvider::JSONWidgetProvider(const AnySourceConfig &config,
                                       std::shared_ptr<CredentialStore> credentials,
                                       ProviderTransports transports)
    : m_config([&] {
        const auto *widget = config.as<JSONWidgetConfig>();
        if (!widget)
            throw ProviderError::misconfigured(u"expected jsonWidget config"_s);
        return *widget;
    }())
    , m_credentials(std::move(credentials))
    , m_http(std::move(transports.http))
{ }

QCoro::Task<SourceSnapshot> JSONWidgetProvider::fetch(StopToken stop)
{
    const JSONWidgetConfig config = m_config;
    const std::shared_ptr<CredentialStore> credentials = m_credentials;
    const std::shared_ptr<HTTPClient> http = m_http;
    const QUrl url(config.url, QUrl::StrictMode);
    if (config.url.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        throw ProviderError::misconfigured(u"bad URL: "_s + config.url);
    HTTPRequest request{url, "GET", {}, {}};
    if (config.bearerTokenRef) {
        const QString token = co_await ProviderSupport::requiredSecret(credentials, *config.bearerTokenRef);
        request.headers.append({"Authorization", "Bearer " + token.toUtf8()});
    }
    const HTTPResult result = co_await http->data(request, stop);
    requireHTTPSuccess(result.response);
    KeyValues table{config.displayName, {}};
    for (const JSONWidgetConfig::FieldMapping &field : config.fields)
        table.fields.append({field.label, JSONPathEvaluator::evaluate(field.path, result.body).value_or(u"—"_s)});
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {table}};
}

std::unique_ptr<SourceProvider> makeProvider(const JSONWidgetConfig &, const ProviderContext &context)
{
    return std::make_unique<JSONWidgetProvider>(context.source, context.credentials, context.transports);
}

} // namespace tw
