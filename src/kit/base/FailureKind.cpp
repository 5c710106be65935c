#include "FailureKind.h"

using namespace Qt::StringLiterals;

namespace tw {

QString failureText(FailureKind kind, const QString &detail)
{
    switch (kind) {
    case FailureKind::TimedOut:
        return u"timed out"_s;
    case FailureKind::ConnectionRefused:
        return u"connection refused"_s;
    case FailureKind::HostNotFound:
        return u"host not found"_s;
    case FailureKind::HostUnreachable:
        return u"host unreachable"_s;
    case FailureKind::EmptyReply:
        return u"empty reply"_s;
    case FailureKind::EndOfStream:
        return u"eof"_s;
    case FailureKind::Closed:
        return u"closed"_s;
    case FailureKind::ShuttingDown:
        return u"shutting down"_s;
    case FailureKind::Other:
        break;
    }
    return detail;
}

} // namespace tw
