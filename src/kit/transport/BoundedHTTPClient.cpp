#include "BoundedHTTPClient.h"

#include "kit/monitor/ProviderError.h"
#include "kit/transport/Cancelled.h"
#include "kit/transport/ConnectionSlots.h"
#include "kit/transport/HTTPReplyParser.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/TransportError.h"
#include "kit/transport/Wakeup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Progress = 1, Finished, Stopped, Granted };

// The request as it goes on the wire. The connection closes after the reply, as the server and
// Tidewatch both expect of a check that runs once a minute.
QByteArray requestBytes(const HTTPRequest &request)
{
    const QUrl &url = request.url;
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty())
        target = "/";
    if (url.hasQuery())
        target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    if (host.contains(':'))
        host = '[' + host + ']';
    if (url.port() != -1 && url.port() != 80)
        host += ':' + QByteArray::number(url.port());
    QByteArray bytes = request.method + ' ' + target + " HTTP/1.1\r\nHost: " + host + "\r\n";
    bool hasAccept = false;
    bool hasAgent = false;
    for (const auto &[name, value] : request.headers) {
        hasAccept |= name.compare("Accept", Qt::CaseInsensitive) == 0;
        hasAgent |= name.compare("User-Agent", Qt::CaseInsensitive) == 0;
        bytes += name + ": " + value + "\r\n";
    }
    if (!hasAccept)
        bytes += "Accept: */*\r\n";
    if (!hasAgent)
        bytes += "User-Agent: Tidewatch\r\n";
    if (!request.body.isEmpty() || request.method == "POST" || request.method == "PUT")
        bytes += "Content-Length: " + QByteArray::number(request.body.size()) + "\r\n";
    bytes += "Connection: close\r\n\r\n";
    return bytes + request.body;
}

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
    , m_slots(std::make_shared<ConnectionSlots>())
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

bool BoundedHTTPClient::speaksDirectly(const QUrl &url)
{
    if (url.scheme() != u"http"_s || url.host().isEmpty())
        return false;
    // Exactly the question Qt's network manager asks before it connects.
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url));
    return proxies.isEmpty() || proxies.first().type() == QNetworkProxy::NoProxy
        || (proxies.first().type() == QNetworkProxy::DefaultProxy
            && QNetworkProxy::applicationProxy().type() == QNetworkProxy::NoProxy);
}

QCoro::Task<HTTPResult> BoundedHTTPClient::direct(HTTPRequest request, StopToken stop)
{
    const Limits limits = m_limits;
    const std::shared_ptr<ConnectionSlots> slots = m_slots;
    QElapsedTimer clock;
    clock.start();
    const qint64 deadlineMs = qint64(limits.deadlineSeconds * 1000.0);
    const QString key = request.url.host() + u':' + QString::number(request.url.port(80));
    // Waiting for a slot is part of the exchange's time, as it is in Qt's own queue.
    if (!slots->tryTake(key)) {
        const qint64 remaining = std::max<qint64>(deadlineMs - clock.elapsed(), 0);
        Wakeup wakeup{std::chrono::milliseconds(remaining)};
        const std::shared_ptr<ConnectionSlots::Ticket> ticket = slots->enqueue(key, &wakeup, Granted);
        bool claimed = false;
        // Runs however the wait ends, the frame's destruction included: a slot handed over but
        // not claimed goes back.
        const auto leave = qScopeGuard([&] {
            ticket->wakeup = nullptr;
            if (ticket->granted && !claimed)
                slots->give(key);
        });
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        const int why = co_await wakeup;
        if (why == Stopped)
            throw Cancelled();
        if (!ticket->granted)
            throw ProviderError::upstream(deadlineText(limits.deadlineSeconds));
        claimed = true;
    }
    const auto release = qScopeGuard([&] { slots->give(key); });

    // The name is looked up within the same bounds as any wait of the exchange.
    const qint64 lookupMs = std::min<qint64>(limits.timeout.count(), std::max<qint64>(deadlineMs - clock.elapsed(), 1));
    const QList<QHostAddress> addresses =
        co_await HostLookup::addresses(request.url.host(), std::chrono::milliseconds(lookupMs), stop);
    qsizetype tried = 0;
    QTcpSocket socket;
    socket.setReadBufferSize(readAhead);
    HTTPReplyParser parser(request.method == "HEAD", limits.maxBodyBytes);
    const QByteArray wire = requestBytes(request);
    socket.connectToHost(addresses.at(tried++), quint16(request.url.port(80)));
    bool sent = false;
    for (;;) {
        if (!sent && socket.state() == QAbstractSocket::ConnectedState) {
            socket.write(wire);
            sent = true;
        }
        if (parser.feed(socket.readAll()))
            break;
        if (socket.state() == QAbstractSocket::UnconnectedState) {
            if (sent && parser.closed())
                break;
            // Refused, not found, or closed before the reply was whole; a refusal before anything
            // was sent moves on to the host's next address.
            const QAbstractSocket::SocketError error = socket.error();
            if (!sent && tried < addresses.size() && error != QAbstractSocket::SocketTimeoutError) {
                socket.connectToHost(addresses.at(tried++), quint16(request.url.port(80)));
                continue;
            }
            if (!sent || error != QAbstractSocket::RemoteHostClosedError)
                throw TransportError::classify(error, socket.errorString());
            throw TransportError::classify(QNetworkReply::RemoteHostClosedError, socket.errorString());
        }
        const qint64 remaining = deadlineMs - clock.elapsed();
        if (remaining <= 0) {
            socket.abort();
            throw ProviderError::upstream(deadlineText(limits.deadlineSeconds));
        }
        const auto wait = std::min<qint64>(limits.timeout.count(), remaining);
        Wakeup wakeup{std::chrono::milliseconds(wait)};
        wakeup.on(&socket, &QTcpSocket::connected, Progress)
            .on(&socket, &QTcpSocket::readyRead, Progress)
            .on(&socket, &QTcpSocket::stateChanged, Progress);
        if (stop)
            wakeup.on(stop.get(), &StopSource::stopped, Stopped);
        const int why = co_await wakeup;
        if (why == Stopped) {
            socket.abort();
            throw Cancelled();
        }
        if (why == Wakeup::Timeout) {
            socket.abort();
            if (clock.elapsed() >= deadlineMs)
                throw ProviderError::upstream(deadlineText(limits.deadlineSeconds));
            throw ProviderError::upstream(u"timed out"_s);
        }
    }
    socket.abort();
    HTTPResult result;
    result.response = parser.response();
    result.body = parser.takeBody();
    co_return result;
}

QCoro::Task<HTTPResult> BoundedHTTPClient::data(HTTPRequest request, StopToken stop)
{
    if (!m_manager)
        throw ProviderError::upstream(u"shutting down"_s);
    if (stop && stop->isStopped())
        throw Cancelled();
    if (speaksDirectly(request.url))
        co_return co_await direct(std::move(request), std::move(stop));
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
            throw ProviderError::upstream(HTTPReplyParser::limitText(limits.maxBodyBytes));
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
