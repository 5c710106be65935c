#include "BeszelProvider.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/providers/ProviderSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QCoro::Task<QByteArray>
fetchCollection(QString baseURL, QString collection, QString token, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    HTTPRequest request{
        ProviderSupport::buildURL(baseURL, u"/api/collections/"_s + collection + u"/records?perPage=200"_s),
        "GET",
        {},
        {}};
    request.headers.append({"Authorization", "Bearer " + token.toUtf8()});
    const HTTPResult result = co_await http->data(request, stop);
    requireHTTPSuccess(result.response);
    co_return result.body;
}

// Drives are a bonus: whatever goes wrong with them reads as "no temperatures".
QCoro::Task<std::optional<QByteArray>>
fetchQuietly(QString baseURL, QString token, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    try {
        co_return co_await fetchCollection(baseURL, u"smart_devices"_s, token, http, stop);
    } catch (...) {
        co_return std::nullopt;
    }
}

// The items of a collection reply, or nothing when any part of it is not the expected shape.
std::optional<QList<QJsonObject>> items(const QByteArray &body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject())
        return std::nullopt;
    const QJsonValue list = document.object().value(u"items"_s);
    if (!list.isArray())
        return std::nullopt;
    QList<QJsonObject> objects;
    for (const QJsonValue &item : list.toArray()) {
        if (!item.isObject())
            return std::nullopt;
        objects.append(item.toObject());
    }
    return objects;
}

std::optional<double> number(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

} // namespace

BeszelProvider::BeszelProvider(const AnySourceConfig &config,
                               std::shared_ptr<CredentialStore> credentials,
                               ProviderTransports transports)
    : m_config([&] {
        const auto *beszel = config.as<BeszelConfig>();
        if (!beszel)
            throw ProviderError::misconfigured(u"expected beszel config"_s);
        return *beszel;
    }())
    , m_credentials(std::move(credentials))
    , m_http(std::move(transports.http))
{ }

QList<HostStats> BeszelProvider::hosts(const QByteArray &systems, const std::optional<QByteArray> &smartDevices)
{
    QHash<QString, QList<DriveTemp>> temps;
    if (smartDevices) {
        for (const QJsonObject &drive : items(*smartDevices).value_or(QList<QJsonObject>{})) {
            const QJsonValue system = drive.value(u"system"_s);
            const QJsonValue temp = drive.value(u"temp"_s);
            if (!system.isString() || !temp.isDouble())
                continue;
            const QJsonValue name = drive.value(u"name"_s);
            temps[system.toString()].append({name.isString() ? name.toString() : system.toString(), temp.toDouble()});
        }
    }
    QList<HostStats> hosts;
    for (const QJsonObject &item : items(systems).value_or(QList<QJsonObject>{})) {
        const QString id = item.value(u"id"_s).isString() ? item.value(u"id"_s).toString() : QString();
        QJsonObject info;
        const QJsonValue rawInfo = item.value(u"info"_s);
        if (rawInfo.isObject()) {
            info = rawInfo.toObject();
        } else if (rawInfo.isString()) {
            const QJsonDocument inner = QJsonDocument::fromJson(rawInfo.toString().toUtf8());
            if (inner.isObject())
                info = inner.object();
        }
        const QString status = item.value(u"status"_s).toString();
        const QJsonValue name = item.value(u"name"_s);
        const QJsonValue host = item.value(u"host"_s);
        hosts.append({id,
                      name.isString()       ? name.toString()
                          : host.isString() ? host.toString()
                                            : u"unknown"_s,
                      status == u"up"_s           ? ServiceStatus::Up
                          : status == u"down"_s   ? ServiceStatus::Down
                          : status == u"paused"_s ? ServiceStatus::Paused
                                                  : ServiceStatus::Unknown,
                      number(info, u"cpu"_s),
                      number(info, u"mp"_s),
                      number(info, u"dp"_s),
                      temps.value(id),
                      {}});
    }
    return hosts;
}

QCoro::Task<SourceSnapshot> BeszelProvider::fetch(StopToken stop)
{
    const BeszelConfig config = m_config;
    const std::shared_ptr<CredentialStore> credentials = m_credentials;
    const std::shared_ptr<HTTPClient> http = m_http;
    const QString token = co_await ProviderSupport::requiredSecret(credentials, config.tokenRef);

    // Both collections at once; the drives' fetch stops with the poll, or when the systems fail.
    const StopToken drivesStop = makeStopToken();
    if (stop)
        QObject::connect(stop.get(), &StopSource::stopped, drivesStop.get(), &StopSource::requestStop);
    auto drives = fetchQuietly(config.baseURL, token, http, drivesStop);
    QByteArray systems;
    std::exception_ptr failure;
    try {
        systems = co_await fetchCollection(config.baseURL, u"systems"_s, token, http, stop);
    } catch (...) {
        failure = std::current_exception();
        drivesStop->requestStop();
    }
    const std::optional<QByteArray> smart = co_await drives;
    if (failure)
        std::rethrow_exception(failure);
    // PocketBase answers a token it does not accept with an empty list, not with 401: a hub that shows
    // nothing to a token is a token that reads nothing.
    const std::optional<QList<QJsonObject>> listed = items(systems);
    if (listed && listed->isEmpty())
        throw ProviderError::upstream(QString::fromUtf8(noSystemsText));
    SourceSnapshot snapshot{config.id, QDateTime::currentDateTimeUtc(), {}};
    for (HostStats &host : hosts(systems, smart)) {
        // A host that is down keeps its last readings on the hub; they are not news.
        if (host.status == ServiceStatus::Up)
            host.overLimits = config.limits.breaches(host);
        snapshot.widgets.append(host);
    }
    co_return snapshot;
}

std::unique_ptr<SourceProvider> makeProvider(const BeszelConfig &, const ProviderContext &context)
{
    return std::make_unique<BeszelProvider>(context.source, context.credentials, context.transports);
}

} // namespace tw
