#include "RestGameEngines.h"

#include "kit/base/ProviderError.h"
#include "kit/games/RestGameParsers.h"
#include "kit/transport/Cancelled.h"

#include <exception>

using namespace Qt::StringLiterals;

namespace tw::RestGames {

namespace {

struct Outcome
{
    std::optional<QByteArray> body;
    std::optional<ProviderError> failure;
    std::exception_ptr cancelled;
};

// One request of the group. Never throws: its result, good or bad, is judged with the others'.
QCoro::Task<Outcome>
fetchOne(HTTPRequest request, std::optional<QString> hint, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    Outcome outcome;
    try {
        const HTTPResult result = co_await http->data(request, stop);
        const int status = result.response.statusCode;
        if (hint && (status == 401 || status == 403))
            outcome.failure = ProviderError::misconfigured(u"HTTP %1 — "_s.arg(status) + *hint);
        else if (status < 200 || status > 299)
            outcome.failure = ProviderError::upstream(u"HTTP %1"_s.arg(status));
        else
            outcome.body = result.body;
    } catch (const ProviderError &error) {
        outcome.failure = error;
    } catch (const Cancelled &) {
        outcome.cancelled = std::current_exception();
    } catch (const std::exception &error) {
        outcome.failure = ProviderError::upstream(QString::fromUtf8(error.what()));
    }
    co_return outcome;
}

HTTPRequest get(QUrl url, QList<QPair<QByteArray, QByteArray>> headers = {})
{
    return HTTPRequest{std::move(url), "GET", std::move(headers), {}};
}

} // namespace

QUrl gameURL(bool useTLS, const QString &host, quint16 port, const QString &path, const QString &query)
{
    QUrl url;
    url.setScheme(useTLS ? u"https"_s : u"http"_s);
    url.setHost(host, QUrl::StrictMode);
    url.setPort(port);
    url.setPath(path, QUrl::StrictMode);
    if (!query.isEmpty())
        url.setQuery(query, QUrl::StrictMode);
    if (host.isEmpty() || !url.isValid() || url.host().isEmpty())
        throw ProviderError::misconfigured(u"bad host \""_s + host + u'"');
    return url;
}

QCoro::Task<QList<std::optional<QByteArray>>>
fetchAll(QList<HTTPRequest> requests, std::optional<QString> hint, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    // All started before any is awaited, so the slowest endpoint sets the pace, not their sum.
    std::vector<QCoro::Task<Outcome>> running;
    running.reserve(std::size_t(requests.size()));
    for (const HTTPRequest &request : std::as_const(requests))
        running.push_back(fetchOne(request, hint, http, stop));
    QList<Outcome> outcomes;
    for (QCoro::Task<Outcome> &task : running)
        outcomes.append(co_await task);

    for (const Outcome &outcome : std::as_const(outcomes)) {
        if (outcome.cancelled)
            std::rethrow_exception(outcome.cancelled);
    }
    for (const Outcome &outcome : std::as_const(outcomes)) {
        if (outcome.failure && outcome.failure->kind() != ProviderError::Kind::Upstream)
            throw *outcome.failure;
    }
    const bool anyAnswer =
        std::any_of(outcomes.begin(), outcomes.end(), [](const Outcome &outcome) { return outcome.body.has_value(); });
    if (!anyAnswer)
        throw *outcomes.first().failure;
    QList<std::optional<QByteArray>> bodies;
    for (const Outcome &outcome : std::as_const(outcomes))
        bodies.append(outcome.body);
    co_return bodies;
}

QCoro::Task<GameFacts> fetchPalworld(QString host,
                                     quint16 port,
                                     QString password,
                                     bool useTLS,
                                     std::shared_ptr<HTTPClient> http,
                                     StopToken stop)
{
    // The REST API has a single account; only its password is the user's to set.
    const QByteArray authorization = "Basic " + (u"admin:"_s + password).toUtf8().toBase64();
    const QList<QPair<QByteArray, QByteArray>> headers{{"Authorization", authorization}};
    QList<HTTPRequest> requests;
    for (const QString &path : {u"/v1/api/info"_s, u"/v1/api/players"_s, u"/v1/api/metrics"_s})
        requests.append(get(gameURL(useTLS, host, port, path), headers));
    const std::optional<QString> hint = u"check the password"_s;
    const QList<std::optional<QByteArray>> bodies = co_await fetchAll(requests, hint, http, stop);
    co_return parsePalworld(objectReply(bodies.at(0)), objectReply(bodies.at(1)), objectReply(bodies.at(2)));
}

QCoro::Task<GameFacts> fetchFiveM(QString host,
                                  quint16 port,
                                  std::optional<QString> token,
                                  bool useTLS,
                                  std::shared_ptr<HTTPClient> http,
                                  StopToken stop)
{
    QList<QPair<QByteArray, QByteArray>> playerHeaders;
    if (token)
        playerHeaders.append({"X-Players-Token", token->toUtf8()});
    const QList<HTTPRequest> requests{get(gameURL(useTLS, host, port, u"/info.json"_s)),
                                      get(gameURL(useTLS, host, port, u"/players.json"_s), playerHeaders)};
    // A refused token is not the user's mistake to repair here: the server may hide players on purpose.
    const std::optional<QString> noHint;
    const QList<std::optional<QByteArray>> bodies = co_await fetchAll(requests, noHint, http, stop);
    co_return parseFiveM(objectReply(bodies.at(0)), objectListReply(bodies.at(1)));
}

QCoro::Task<GameFacts>
fetchTShock(QString host, quint16 port, bool useTLS, std::shared_ptr<HTTPClient> http, StopToken stop)
{
    const QList<HTTPRequest> requests{get(gameURL(useTLS, host, port, u"/v2/server/status"_s, u"players=true"_s))};
    const std::optional<QString> hint = u"the REST interface needs a token"_s;
    const QList<std::optional<QByteArray>> bodies = co_await fetchAll(requests, hint, http, stop);
    co_return parseTShock(objectReply(bodies.at(0)));
}

} // namespace tw::RestGames
