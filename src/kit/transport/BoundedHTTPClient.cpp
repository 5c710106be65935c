#include "BoundedHTTPClient.h"

#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "kit/transport/TransportError.h"
#include "kit/transport/Wakeup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkReply>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Progress = 1, Finished, Stopped };

struct DeleteLater
{
    void operator()(QNetworkReply *reply) const
    {
        if (!reply->isFinished())
            reply->abort();
        reply->deleteLater();
    }
};

// Lets the network layer take 64 KiB ahead of us at most, so an endless body stops at the limit
// instead of filling memory first.
constexpr qint64 readAhead = 64 * 1024;

} // namespace

BoundedHTTPClient::BoundedHTTPClient(Limits limits)
    : m_limits(limits)
    , m_manager(new QNetworkAccessManager(QCoreApplication::instance()))
{
    m_manager->setCache(nullptr);
    m_manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    m_manager->setAutoDeleteReplies(false);
}

BoundedHTTPClient::BoundedHTTPClient()
    : BoundedHTTPClient(Limits{})
{ }

BoundedHTTPClient::~BoundedHTTPClient()
{
    if (m_manager)
        m_manager->deleteLater();
}

std::shared_ptr<HTTPClient> BoundedHTTPClient::shared()
{
    static std::shared_ptr<HTTPClient> client = std::make_shared<BoundedHTTPClient>();
    return client;
}

QString BoundedHTTPClient::deadlineText(double seconds)
{
    QString number = QString::number(seconds, 'g', QLocale::FloatingPointShortest);
    if (!number.contains(u'.') && !number.contains(u'e') && !number.contains(u'n'))
        number += u".0"_s;
    return u"request exceeded its "_s + number + u"s deadline"_s;
}

QCoro::Task<HTTPResult> BoundedHTTPClient::data(HTTPRequest request, StopToken stop)
{
    if (!m_manager)
        throw ProviderError::upstream(u"shutting down"_s);
    if (stop && stop->isStopped())
        throw Cancelled();
    const Limits limits = m_limits;

    QNetworkRequest wire(request.url);
    wire.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    wire.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    wire.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    wire.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    wire.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    for (const auto &[name, value] : std::as_const(request.headers))
        wire.setRawHeader(name, value);

    std::unique_ptr<QNetworkReply, DeleteLater> reply(m_manager->sendCustomRequest(wire, request.method, request.body));
    reply->setReadBufferSize(readAhead);

    QElapsedTimer clock;
    clock.start();
    const qint64 deadlineMs = qint64(limits.deadlineSeconds * 1000.0);
    QByteArray body;
    for (;;) {
        body.append(reply->readAll());
        if (body.size() > limits.maxBodyBytes) {
            reply->abort();
            throw ProviderError::upstream(u"response exceeded %1-byte limit"_s.arg(limits.maxBodyBytes));
        }
        if (reply->isFinished())
            break;
        const qint64 remaining = deadlineMs - clock.elapsed();
        if (remaining <= 0) {
            reply->abort();
            throw ProviderError::upstream(deadlineText(limits.deadlineSeconds));
        }
        const auto wait = std::min<qint64>(limits.timeout.count(), remaining);
        Wakeup wakeup{std::chrono::milliseconds(wait)};
        wakeup.on(reply.get(), &QNetworkReply::readyRead, Progress)
            .on(reply.get(), &QNetworkReply::finished, Finished)
            .on(reply.get(), &QNetworkReply::metaDataChanged, Progress);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        const int why = co_await wakeup;
        if (why == Stopped) {
            reply->abort();
            throw Cancelled();
        }
        if (why == Wakeup::Timeout) {
            reply->abort();
            if (clock.elapsed() >= deadlineMs)
                throw ProviderError::upstream(deadlineText(limits.deadlineSeconds));
            throw ProviderError::upstream(u"timed out"_s);
        }
    }

    HTTPResult result;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const QNetworkReply::NetworkError error = reply->error();
    // Statuses are the caller's to judge (their errors lie in the 200 and 400 ranges); a failed
    // connection, a proxy failure or a broken exchange (a body cut off by a reset) is not.
    const bool transportFailure = (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied)
        || (error >= QNetworkReply::ProtocolUnknownError && error < QNetworkReply::InternalServerError);
    if (!status.isValid() || transportFailure)
        throw TransportError::classify(error, reply->errorString());
    // A connection that drops mid-body can end the reply without an error: the length tells.
    bool announced = false;
    const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&announced);
    if (announced && request.method != "HEAD" && length > body.size())
        throw TransportError::classify(QNetworkReply::RemoteHostClosedError, reply->errorString());
    result.response.statusCode = status.toInt();
    for (const auto &pair : reply->rawHeaderPairs())
        result.response.headers.append(pair);
    result.body = std::move(body);
    co_return result;
}

} // namespace tw
