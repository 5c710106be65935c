#include "KumaProvider.h"

#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"
#include "kit/model/JsonRead.h"
#include "kit/monitor/ProviderError.h"
#include "kit/providers/KumaMetricsParser.h"
#include "kit/providers/ProviderSupport.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// The server turned the credentials down; never leaves the poll.
struct MetricsAuthRejected
{ };

ServiceStatus heartbeatStatus(qint64 status)
{
    switch (status) {
    case 0:
        return ServiceStatus::Down;
    case 1:
        return ServiceStatus::Up;
    case 2:
    case 3:
        return ServiceStatus::Warn;
    default:
        return ServiceStatus::Unknown;
    }
}

QCoro::Task<QList<ServiceRow>>
viaMetrics(KumaConfig config, QString secret, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    HTTPRequest request{ProviderSupport::buildURL(config.baseURL, u"/metrics"_s), "GET", {}, {}};
    // An empty user name with an API key as the password is how Kuma expects keys to be sent.
    const QByteArray pair = (config.username.value_or(QString()) + u':' + secret).toUtf8();
    request.headers.append({"Authorization", "Basic " + pair.toBase64()});
    const HTTPResult result = co_await http->data(request, stop);
    if (result.response.statusCode == 401 || result.response.statusCode == 403)
        throw MetricsAuthRejected{};
    requireHTTPSuccess(result.response);
    auto decode = QStringDecoder(QStringDecoder::Utf8);
    QString text = decode(result.body);
    if (decode.hasError())
        text.clear();
    co_return KumaMetricsParser::parse(text);
}

QCoro::Task<QList<ServiceRow>> viaStatusPage(KumaConfig config, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    // One path segment whatever the slug holds: its slashes are encoded.
    const QString slug =
        QString::fromLatin1(QUrl::toPercentEncoding(config.statusPageSlug.value_or(QString()), "!$&'()*+,;=:@"));
    const HTTPRequest request{ProviderSupport::buildURL(config.baseURL, u"/api/status-page/heartbeat/"_s + slug),
                              "GET",
                              {},
                              {}};
    const HTTPResult result = co_await http->data(request, stop);
    requireHTTPSuccess(result.response);
    try {
        co_return KumaProvider::heartbeatRows(result.body);
    } catch (const DecodeError &error) {
        throw ProviderError::upstream(error.text());
    }
}

} // namespace

KumaProvider::KumaProvider(const AnySourceConfig &config,
                           std::shared_ptr<CredentialStore> credentials,
                           ProviderTransports transports)
    : m_config([&] {
        const auto *kuma = config.as<KumaConfig>();
        if (!kuma)
            throw ProviderError::misconfigured(u"expected kuma config"_s);
        return *kuma;
    }())
    , m_credentials(std::move(credentials))
    , m_http(std::move(transports.http))
{ }

QList<ServiceRow> KumaProvider::heartbeatRows(const QByteArray &body)
{
    const QJsonDocument document = JsonRead::document(body);
    if (!document.isObject())
        throw DecodeError(u"Expected an object for the status page reply."_s);
    const QJsonObject list = JsonRead::object(document.object().value(u"heartbeatList"_s), u"heartbeatList");
    QStringList ids = list.keys();
    std::sort(ids.begin(), ids.end()); // as text: "10" before "9"
    QList<ServiceRow> rows;
    for (const QString &id : std::as_const(ids)) {
        if (!list.value(id).isArray())
            throw DecodeError(u"Expected an array of heartbeats for %1."_s.arg(id));
        const QJsonArray beats = list.value(id).toArray();
        QList<QJsonObject> parsed;
        for (const QJsonValue &beat : beats)
            parsed.append(JsonRead::object(beat, u"heartbeat"));
        if (parsed.isEmpty())
            continue;
        const QJsonObject last = parsed.last();
        const qint64 status = JsonRead::integer(last, u"status");
        std::optional<double> ping = JsonRead::optionalNumber(last, u"ping");
        if (ping && *ping < 0)
            ping.reset();
        for (const QJsonObject &beat : parsed)
            JsonRead::integer(beat, u"status"); // every heartbeat must read, as the reply's shape demands
        rows.append({id, id, heartbeatStatus(status), ping, std::nullopt});
    }
    return rows;
}

QCoro::Task<SourceSnapshot> KumaProvider::fetch(StopToken stop)
{
    const KumaConfig config = m_config;
    const std::shared_ptr<CredentialStore> credentials = m_credentials;
    const std::shared_ptr<HTTPClient> http = m_http;
    QList<ServiceRow> rows;
    if (config.username && config.passwordRef) {
        const QString secret = co_await ProviderSupport::requiredSecret(credentials, *config.passwordRef);
        bool rejected = false;
        try {
            rows = co_await viaMetrics(config, secret, http, stop);
        } catch (const MetricsAuthRejected &) {
            rejected = true;
        }
        if (rejected) {
            if (!config.statusPageSlug)
                throw ProviderError::upstream(QString::fromUtf8(rejectedText));
            rows = co_await viaStatusPage(config, http, stop);
        }
    } else if (config.statusPageSlug) {
        rows = co_await viaStatusPage(config, http, stop);
    } else {
        throw ProviderError::misconfigured(u"kuma needs credentials or a status page slug"_s);
    }
    SourceSnapshot snapshot{config.id, QDateTime::currentDateTimeUtc(), {}};
    for (const ServiceRow &row : std::as_const(rows))
        snapshot.widgets.append(row);
    co_return snapshot;
}

} // namespace tw
