#pragma once

#include "kit/transport/HTTPClient.h"

#include <QPointer>

#include <chrono>
#include <memory>

class QNetworkAccessManager;

namespace tw {

// The production HTTP client. The services it talks to live on the user's own network and are often
// slow or broken, so every exchange is bounded three ways: the time between bytes, the whole
// exchange, and the size of the body, counted while it streams in. No redirect is followed (an
// Authorization header never travels to another host), no cookie is kept, nothing is cached.
class BoundedHTTPClient : public HTTPClient
{
public:
    struct Limits
    {
        qint64 maxBodyBytes = 8388608;
        std::chrono::milliseconds timeout = std::chrono::seconds(10); // between bytes
        double deadlineSeconds = 20.0; // the whole exchange
    };

    explicit BoundedHTTPClient(Limits limits);
    BoundedHTTPClient();
    ~BoundedHTTPClient() override;

    // The one client of the process, with the default limits; every production caller uses it.
    static std::shared_ptr<HTTPClient> shared();

    QCoro::Task<HTTPResult> data(HTTPRequest request, StopToken stop) override;

    // "request exceeded its 20.0s deadline"
    static QString deadlineText(double seconds);

private:
    Limits m_limits;
    QPointer<QNetworkAccessManager> m_manager;
};

} // namespace tw
