#pragma once

#include "kit/base/StopSource.h"

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QPair>
#include <QUrl>

namespace tw {

// A GET (or other) request as providers build it. Limits are the client's, never the caller's.
struct HTTPRequest
{
    QUrl url;
    QByteArray method = "GET";
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    bool operator==(const HTTPRequest &) const = default;
};

struct HTTPResponse
{
    int statusCode = -1; // -1 when the reply was not HTTP at all
    QList<QPair<QByteArray, QByteArray>> headers;

    // The first header of that name, compared case-insensitively; empty when there is none.
    QByteArray header(const QByteArray &name) const;
    bool operator==(const HTTPResponse &) const = default;
};

struct HTTPResult
{
    QByteArray body;
    HTTPResponse response;
};

// Every HTTP exchange of the system goes through this. data() throws ProviderError with the user's
// text (classified once, in the transport), or Cancelled once `stop` fired. 3xx, 4xx and 5xx are
// not failures: the caller judges the status.
class HTTPClient
{
public:
    virtual ~HTTPClient() = default;
    virtual QCoro::Task<HTTPResult> data(HTTPRequest request, StopToken stop) = 0;
};

// The status of a 2xx response; anything else fails with ProviderError::upstream("HTTP 503"), a
// reply that was not HTTP at all counting as status -1.
int requireHTTPSuccess(const HTTPResponse &response);

} // namespace tw
