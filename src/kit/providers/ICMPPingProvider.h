#pragma once

#include "kit/model/ICMPPingConfig.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

// Echo requests to a host: up when every echo is answered, warn when some are lost, down with
// "no reply" when none is, or with why the echo could not be sent. The latency is the average
// round trip of the answered echoes.
class ICMPPingProvider : public SourceProvider
{
public:
    // Each echo waits this long for its reply: a reply later than this is as good as lost.
    static constexpr std::chrono::milliseconds replyTimeout = std::chrono::seconds(2);
    static constexpr std::chrono::milliseconds lookupTimeout = std::chrono::seconds(5);

    static constexpr auto noReplyText = "no reply";
    // "1 of 3 echoes lost"
    static QString lossText(int lost, int sent);

    explicit ICMPPingProvider(const AnySourceConfig &config);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    ICMPPingConfig m_config;
};

} // namespace tw
