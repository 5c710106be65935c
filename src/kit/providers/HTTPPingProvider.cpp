#include "HTTPPingProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/JsonRead.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace tw {

HTTPPingProvider::HTTPPingProvider(const AnySourceConfig &config, ProviderTransports transports)
    : m_config([&] {
        const auto *ping = config.as<HTTPPingConfig>();
        if (!ping)
            throw ProviderError::misconfigured(u"expected httpPing config"_s);
        return *ping;
    }())
    , m_http(std::move(transports.http))
{ }

QCoro::Task<SourceSnapshot> HTTPPingProvider::fetch(StopToken stop)
{
    const HTTPPingConfig config = m_config;
    const std::shared_ptr<HTTPClient> http = m_http;
    const QUrl url(config.url, QUrl::StrictMode);
    if (config.url.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        throw ProviderError::misconfigured(u"bad URL: "_s + config.url);

    CheckResult row{JsonRead::uuidText(config.id), config.displayName, ServiceStatus::Down, {}, {}, config.url};
    QElapsedTimer clock;
    clock.start();
    try {
        // Built before the await: g++ 12 destroys temporaries inside a co_await expression twice.
        const HTTPRequest request{url, "GET", {}, {}};
        const HTTPResult result = co_await http->data(request, stop);
        // The whole body's transfer lies inside the measurement.
        row.latencyMs = double(clock.nsecsElapsed()) / 1e6;
        const int status = result.response.statusCode;
        if (status == config.expectedStatus)
            row.status = ServiceStatus::Up;
        else
            row.detail = u"HTTP %1"_s.arg(status);
    } catch (const Cancelled &) {
        throw;
    } catch (const ProviderError &error) {
        row.detail = error.description();
    }
    co_return SourceSnapshot{config.id, QDateTime::currentDateTimeUtc(), {row}};
}

std::unique_ptr<SourceProvider> makeProvider(const HTTPPingConfig &, const ProviderContext &context)
{
    return std::make_unique<HTTPPingProvider>(context.source, context.transports);
}

} // namespace tw
