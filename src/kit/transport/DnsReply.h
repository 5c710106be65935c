#pragma once

#include <QByteArray>
#include <QString>

namespace tw {

// How a nameserver answered, told apart the way a user checking a record needs them.
enum class DnsStatus {
    Answered, // NOERROR with records
    NoData, // NOERROR without records of the type asked
    NotFound, // NXDOMAIN
    ServerFailure, // SERVFAIL
    Refused, // REFUSED
    TimedOut, // nothing came back in time
    Unreachable, // nothing listens where the nameserver should be
    Failed, // anything else: a malformed reply, a name that cannot be asked
};

// "no answer", "NXDOMAIN", "server failure", "refused by the nameserver", "timed out",
// "connection refused"; empty for an answer and for Failed, whose text the reply carries.
QString dnsStatusText(DnsStatus status);

struct DnsReply
{
    DnsStatus status = DnsStatus::Failed;
    QByteArray message; // the whole DNS message as received, when one was
    QString failure; // c-ares's own words, for Failed

    // The user's text for anything but an answer.
    QString text() const { return status == DnsStatus::Failed ? failure : dnsStatusText(status); }
    bool operator==(const DnsReply &) const = default;
};

} // namespace tw
