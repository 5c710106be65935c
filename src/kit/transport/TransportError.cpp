#include "TransportError.h"

using namespace Qt::StringLiterals;

namespace tw::TransportError {

ProviderError classify(QAbstractSocket::SocketError error, const QString &description)
{
    switch (error) {
    case QAbstractSocket::SocketTimeoutError:
        return ProviderError::upstream(u"timed out"_s);
    case QAbstractSocket::ConnectionRefusedError:
        return ProviderError::upstream(u"connection refused"_s);
    case QAbstractSocket::HostNotFoundError:
        return ProviderError::upstream(u"host not found"_s);
    case QAbstractSocket::NetworkError:
        return ProviderError::upstream(u"host unreachable"_s);
    default:
        return ProviderError::upstream(description);
    }
}

ProviderError classify(QNetworkReply::NetworkError error, const QString &description)
{
    switch (error) {
    case QNetworkReply::TimeoutError:
        return ProviderError::upstream(u"timed out"_s);
    case QNetworkReply::ConnectionRefusedError:
        return ProviderError::upstream(u"connection refused"_s);
    case QNetworkReply::HostNotFoundError:
        return ProviderError::upstream(u"host not found"_s);
    case QNetworkReply::RemoteHostClosedError: // the connection was lost mid-exchange
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
        return ProviderError::upstream(u"host unreachable"_s);
    default:
        return ProviderError::upstream(description);
    }
}

} // namespace tw::TransportError
