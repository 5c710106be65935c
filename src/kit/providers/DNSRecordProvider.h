#pragma once

#include "kit/model/DNSRecordConfig.h"
#include "kit/providers/SourceProvider.h"

#include <QStringList>

namespace tw {

// Asks for one record of a name: up when the answer holds the expected value (or anything, when no
// value is expected), down with "NXDOMAIN", "no answer", "server failure", "refused by the
// nameserver", "timed out", or "expected X got Y" where Y lists every answer, comma-joined. The
// latency is the lookup's.
class DNSRecordProvider : public SourceProvider
{
public:
    // c-ares's retries run inside this bound.
    static constexpr std::chrono::milliseconds lookupTimeout = std::chrono::seconds(5);

    static constexpr auto notFoundText = "NXDOMAIN";
    static constexpr auto noAnswerText = "no answer";
    static QString mismatchText(const QString &expected, const QStringList &answers);

    // Each answer as the user reads and types it: "192.0.2.7", "mail.example.com", "10 mail.example.com"
    // (MX: preference, exchange), "10 5 8080 host.example.com" (SRV: priority, weight, port, target),
    // TXT strings joined. Names lose their final dot.
    // `message` is the whole DNS reply.
    static QStringList answers(const QByteArray &message, DNSRecordType type);
    // Addresses compare as addresses, names without case or final dot; an MX or SRV answer also
    // matches on its target name alone.
    static bool matches(const QString &answer, const QString &expected, DNSRecordType type);

    explicit DNSRecordProvider(const AnySourceConfig &config, std::chrono::milliseconds timeout = lookupTimeout);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

private:
    DNSRecordConfig m_config;
    std::chrono::milliseconds m_timeout;
};

} // namespace tw
