#include "KumaProvider.h"

#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/DecodeError.h"
#include "kit/model/JsonRead.h"
#include "kit/providers/KumaMetricsParser.h"
#include "kit/providers/ProviderSupport.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QStringDecoder>

#include <algorithm>
#include <cmath>
#include <functional>

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
    case 2: // pending: failing, but not yet for the monitor's retries
        return ServiceStatus::Warn;
    case 3:
        return ServiceStatus::Maintenance;
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

// The status page's slug as one path segment whatever it holds: its slashes are encoded.
QString slugSegment(const KumaConfig &config)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(config.statusPageSlug.value_or(QString()), "!$&'()*+,;=:@"));
}

QCoro::Task<QByteArray> fetchPublic(QUrl url, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    const HTTPRequest request{url, "GET", {}, {}};
    const HTTPResult result = co_await http->data(request, stop);
    requireHTTPSuccess(result.response);
    co_return result.body;
}

// Names are a courtesy: whatever goes wrong with them leaves the rows named by their ids.
QCoro::Task<QByteArray> fetchNamesQuietly(QUrl url, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    try {
        co_return co_await fetchPublic(std::move(url), std::move(http), std::move(stop));
    } catch (...) {
        co_return QByteArray();
    }
}

QCoro::Task<QList<ServiceRow>> viaStatusPage(KumaConfig config, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    const QString slug = slugSegment(config);
    const QUrl heartbeats = ProviderSupport::buildURL(config.baseURL, u"/api/status-page/heartbeat/"_s + slug);
    const QUrl page = ProviderSupport::buildURL(config.baseURL, u"/api/status-page/"_s + slug);

    // Both at once; the names' request stops with the poll, or when the heartbeats fail.
    const StopToken namesStop = makeStopToken();
    if (stop)
        QObject::connect(stop.get(), &StopSource::stopped, namesStop.get(), &StopSource::requestStop);
    auto names = fetchNamesQuietly(page, http, namesStop);
    QByteArray body;
    std::exception_ptr failure;
    try {
        body = co_await fetchPublic(heartbeats, http, stop);
    } catch (...) {
        failure = std::current_exception();
        namesStop->requestStop();
    }
    const QByteArray pageBody = co_await names;
    if (failure)
        std::rethrow_exception(failure);
    try {
        QList<ServiceRow> rows = KumaProvider::heartbeatRows(body,
                                                             KumaProvider::monitorNames(pageBody),
                                                             config.statusPageSlug.value_or(QString()));
        const QHash<QString, QString> links = KumaProvider::monitorLinks(pageBody);
        for (ServiceRow &row : rows) {
            if (const auto link = links.constFind(row.id); link != links.cend())
                row.url = *link;
        }
        co_return rows;
    } catch (const DecodeError &error) {
        throw ProviderError::upstream(error.text());
    }
}

// The integer status of a real heartbeat; nothing for the empty buckets of Kuma 2.x's heartbeat bar,
// which stand in the list as 0 or as an object whose status is null.
std::optional<qint64> beatStatus(const QJsonValue &beat)
{
    const QJsonValue status = beat.toObject().value(u"status"_s);
    if (!beat.isObject() || !status.isDouble())
        return std::nullopt;
    const double value = status.toDouble();
    if (value != std::trunc(value))
        return std::nullopt;
    return value >= 0 && value <= 3 ? qint64(value) : -1; // any other integer is a status we do not know
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

QList<ServiceRow>
KumaProvider::heartbeatRows(const QByteArray &body, const QHash<QString, QString> &names, const QString &slug)
{
    const QJsonDocument document = JsonRead::document(body);
    if (!document.isObject())
        throw DecodeError(u"Expected an object for the status page reply."_s);
    const QJsonObject list = JsonRead::object(document.object().value(u"heartbeatList"_s), u"heartbeatList");
    // Kuma 1.x answers a slug it does not know with an empty list, not with an error.
    if (list.isEmpty())
        throw ProviderError::upstream(u"status page '%1' lists no monitors — check the slug"_s.arg(slug));
    QStringList ids = list.keys();
    std::sort(ids.begin(), ids.end()); // as text: "10" before "9"
    QList<ServiceRow> rows;
    for (const QString &id : std::as_const(ids)) {
        if (!list.value(id).isArray())
            throw DecodeError(u"Expected an array of heartbeats for %1."_s.arg(id));
        const QJsonArray beats = list.value(id).toArray();
        // The newest real beat counts; a monitor with none yet has no row.
        qsizetype last = beats.size() - 1;
        while (last >= 0 && !beatStatus(beats.at(last)))
            --last;
        if (last < 0)
            continue;
        const QJsonValue ping = beats.at(last).toObject().value(u"ping"_s);
        const std::optional<double> latency =
            ping.isDouble() && ping.toDouble() >= 0 ? std::optional(ping.toDouble()) : std::nullopt;
        const QString name = names.value(id);
        rows.append({id,
                     name.isEmpty() ? id : name,
                     heartbeatStatus(*beatStatus(beats.at(last))),
                     latency,
                     std::nullopt,
                     std::nullopt});
    }
    return rows;
}

namespace {

// Each monitor a status page lists, by the id its heartbeats are keyed with: Kuma's reply has ids as
// numbers, the heartbeat list as texts.
void forEachMonitor(const QByteArray &body, const std::function<void(const QString &, const QJsonObject &)> &visit)
{
    const QJsonValue groups = QJsonDocument::fromJson(body).object().value(u"publicGroupList"_s);
    for (const QJsonValue &group : groups.toArray()) {
        for (const QJsonValue &monitor : group.toObject().value(u"monitorList"_s).toArray()) {
            const QJsonValue id = monitor.toObject().value(u"id"_s);
            const QString key = id.isDouble() ? QString::number(id.toInteger(-1)) : id.toString();
            if (!key.isEmpty())
                visit(key, monitor.toObject());
        }
    }
}

} // namespace

QHash<QString, QString> KumaProvider::monitorNames(const QByteArray &body)
{
    QHash<QString, QString> names;
    forEachMonitor(body, [&names](const QString &key, const QJsonObject &monitor) {
        const QJsonValue name = monitor.value(u"name"_s);
        if (name.isString() && !name.toString().isEmpty())
            names.insert(key, name.toString());
    });
    return names;
}

QHash<QString, QString> KumaProvider::monitorLinks(const QByteArray &body)
{
    QHash<QString, QString> links;
    forEachMonitor(body, [&links](const QString &key, const QJsonObject &monitor) {
        if (const auto url = ProviderSupport::browsable(monitor.value(u"url"_s).toString()))
            links.insert(key, *url);
    });
    return links;
}

QList<ServiceRow> KumaProvider::withVanished(QList<ServiceRow> rows, const QList<ServiceRow> &seen)
{
    QSet<QString> present;
    for (const ServiceRow &row : std::as_const(rows))
        present.insert(row.id);
    for (const ServiceRow &earlier : seen) {
        if (present.contains(earlier.id))
            continue;
        rows.append({earlier.id,
                     earlier.name,
                     ServiceStatus::Paused,
                     std::nullopt,
                     QString::fromUtf8(vanishedText),
                     earlier.url});
    }
    return rows;
}

QCoro::Task<SourceSnapshot> KumaProvider::fetch(StopToken stop)
{
    const KumaConfig config = m_config;
    const std::shared_ptr<CredentialStore> credentials = m_credentials;
    const std::shared_ptr<HTTPClient> http = m_http;
    const std::shared_ptr<QList<ServiceRow>> seen = m_seen;
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
    rows = withVanished(std::move(rows), *seen);
    *seen = rows;
    SourceSnapshot snapshot{config.id, QDateTime::currentDateTimeUtc(), {}};
    for (const ServiceRow &row : std::as_const(rows))
        snapshot.widgets.append(row);
    co_return snapshot;
}

std::unique_ptr<SourceProvider> makeProvider(const KumaConfig &, const ProviderContext &context)
{
    return std::make_unique<KumaProvider>(context.source, context.credentials, context.transports);
}

} // namespace tw
