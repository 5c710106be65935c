#pragma once

#include "kit/transport/HTTPClient.h"

#include <QPointer>

#include <chrono>
#include <memory>

class QNetworkAccessManager;

namespace tw {
class ConnectionSlots;
}

namespace tw {

// The production HTTP client. The services it talks to live on the user's own network and are often
// slow or broken, so every exchange is bounded three ways: the time between bytes, the whole
// exchange, and the size of the body, counted while it streams in. No redirect is followed (an
// Authorization header never travels to another host), no cookie is kept, nothing is cached.
// http and https without a proxy are spoken here, on a fresh connection in this thread, with one
// reply reader: Qt's network manager would run them on a thread of its own (the hops there and back
// cost four times the exchange), tells nothing of a head that trickles in, and takes a reset for the
// end of a body. Anything a proxy carries goes through Qt's network manager.
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

    // Whether an exchange with this address is spoken here rather than by Qt's network manager.
    static bool speaksDirectly(const QUrl &url);

private:
    QCoro::Task<HTTPResult> direct(HTTPRequest request, StopToken stop);

    Limits m_limits;
    QPointer<QNetworkAccessManager> m_manager;
    std::shared_ptr<ConnectionSlots> m_slots;
};

} // namespace tw
