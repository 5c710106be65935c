#include "BoundedHTTPClient.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/ConnectionSlots.h"
#include "kit/transport/HTTPReplyParser.h"
#include "kit/transport/HostLookup.h"
#include "kit/transport/PeerResetWatch.h"
#include "kit/transport/TransportError.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QSslSocket>
#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

enum Reason { Progress = 1, Finished, Stopped, Granted };

bool isHttps(const QUrl &url)
{
    return url.scheme() == u"https"_s;
}

quint16 portOf(const QUrl &url)
{
    return quint16(url.port(isHttps(url) ? 443 : 80));
}

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
    if (url.port() != -1 && url.port() != (isHttps(url) ? 443 : 80))
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

// The parent of every client's network manager. A manager keeps its connections on a thread of its
// own and closes them when it goes; an https connection closed while the application object is
// already being torn down starts up the TLS backend again, which then finds no application to
// attach to and says so on the terminal ("QObject::connect(QObject, Unknown): invalid nullptr
// parameter"). So the managers go while the application still stands: its post routines run
// before it lets go of itself.
QObject *managerOwner()
{
    static QObject *owner = [] {
        auto *made = new QObject;
        qAddPostRoutine([] { delete managerOwner(); });
        return made;
    }();
    return owner;
}

} // namespace

BoundedHTTPClient::BoundedHTTPClient(Limits limits)
    : m_limits(limits)
    , m_manager(new QNetworkAccessManager(managerOwner()))
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
    if ((url.scheme() != u"http"_s && !isHttps(url)) || url.host().isEmpty())
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
    const bool tls = isHttps(request.url);
    const quint16 port = portOf(request.url);
    const QString key = request.url.scheme() + u"://"_s + request.url.host() + u':' + QString::number(port);
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
    // Declared before the socket, so that the socket is gone first.
    PeerResetWatch resetWatch;
    QList<QSslError> sslErrors;
    // https is the same exchange over TLS: the same reader, bounds and texts as plain http.
    const std::unique_ptr<QTcpSocket> owned = tls ? std::make_unique<QSslSocket>() : std::make_unique<QTcpSocket>();
    QTcpSocket &socket = *owned;
    auto *secure = qobject_cast<QSslSocket *>(&socket);
    socket.setReadBufferSize(readAhead);
    HTTPReplyParser parser(request.method == "HEAD", limits.maxBodyBytes);
    const QByteArray wire = requestBytes(request);
    if (secure) {
        QObject::connect(secure, &QSslSocket::sslErrors, secure, [&sslErrors](const QList<QSslError> &errors) {
            sslErrors = errors;
        });
    }
    // The address is already looked up; TLS still checks the certificate against the URL's name.
    const auto connectTo = [&](const QHostAddress &address) {
        if (secure)
            secure->connectToHostEncrypted(address.toString(), port, request.url.host());
        else
            socket.connectToHost(address, port);
    };
    connectTo(addresses.at(tried++));
    bool sent = false;
    for (;;) {
        if (socket.state() == QAbstractSocket::ConnectedState)
            resetWatch.watch(socket.socketDescriptor());
        const bool ready = secure ? secure->isEncrypted() : socket.state() == QAbstractSocket::ConnectedState;
        if (!sent && ready) {
            socket.write(wire);
            sent = true;
        }
        if (parser.feed(socket.readAll()))
            break;
        if (socket.state() == QAbstractSocket::UnconnectedState) {
            // A reset ends the exchange as a lost connection, whatever the body's framing and
            // whatever TLS makes of it; a body that runs until the connection ends is whole only
            // after a close.
            if (sent && resetWatch.wasReset())
                throw TransportError::classify(QNetworkReply::RemoteHostClosedError, socket.errorString());
            if (sent && parser.closed())
                break;
            const QAbstractSocket::SocketError error = socket.error();
            if (error == QAbstractSocket::SslHandshakeFailedError) {
                const QString reason = sslErrors.isEmpty() ? socket.errorString() : sslErrors.first().errorString();
                throw ProviderError::upstream(u"SSL handshake failed: "_s + reason);
            }
            // Refused, not found, or closed before the reply was whole; a refusal before anything
            // was sent moves on to the host's next address.
            if (!sent && tried < addresses.size() && error != QAbstractSocket::SocketTimeoutError) {
                connectTo(addresses.at(tried++));
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
        if (secure)
            wakeup.on(secure, &QSslSocket::encrypted, Progress);
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
            throw ProviderError::failure(FailureKind::TimedOut);
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
        throw ProviderError::failure(FailureKind::ShuttingDown);
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
            throw ProviderError::failure(FailureKind::TimedOut);
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
