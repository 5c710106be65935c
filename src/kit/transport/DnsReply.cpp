#include "DnsReply.h"

#include "kit/base/FailureKind.h"

using namespace Qt::StringLiterals;

namespace tw {

QString dnsStatusText(DnsStatus status)
{
    switch (status) {
    case DnsStatus::NoData:
        return u"no answer"_s;
    case DnsStatus::NotFound:
        return u"NXDOMAIN"_s;
    case DnsStatus::ServerFailure:
        return u"server failure"_s;
    case DnsStatus::Refused:
        return u"refused by the nameserver"_s;
    case DnsStatus::TimedOut:
        return failureText(FailureKind::TimedOut);
    case DnsStatus::Unreachable:
        return failureText(FailureKind::ConnectionRefused);
    case DnsStatus::Answered:
    case DnsStatus::Failed:
        break;
    }
    return {};
}

} // namespace tw
