#pragma once

#include "kit/model/TLSCertificateConfig.h"
#include "kit/providers/SourceProvider.h"

namespace tw {

// Connects, completes a TLS handshake whatever the system store thinks of the server, and judges the
// leaf certificate with CertificateCheck for the SNI name if there is one, else the host. The
// latency is the connection and handshake.
class TLSCertificateProvider : public SourceProvider
{
public:
    // Connection and handshake together.
    static constexpr std::chrono::milliseconds handshakeTimeout = std::chrono::seconds(10);
    static constexpr auto handshakeFailedText = "TLS handshake failed";
    static constexpr auto tlsUnavailableText = "TLS is not available on this system";

    explicit TLSCertificateProvider(const AnySourceConfig &config);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    TLSCertificateConfig m_config;
};

} // namespace tw
