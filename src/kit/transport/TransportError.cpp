#include "TransportError.h"

namespace tw::TransportError {

ProviderError classify(QAbstractSocket::SocketError error, const QString &description)
{
    switch (error) {
    case QAbstractSocket::SocketTimeoutError:
        return ProviderError::failure(FailureKind::TimedOut);
    case QAbstractSocket::ConnectionRefusedError:
        return ProviderError::failure(FailureKind::ConnectionRefused);
    case QAbstractSocket::HostNotFoundError:
        return ProviderError::failure(FailureKind::HostNotFound);
    case QAbstractSocket::NetworkError:
        return ProviderError::failure(FailureKind::HostUnreachable);
    default:
        return ProviderError::failure(FailureKind::Other, description);
    }
}

ProviderError classify(QNetworkReply::NetworkError error, const QString &description)
{
    switch (error) {
    case QNetworkReply::TimeoutError:
        return ProviderError::failure(FailureKind::TimedOut);
    case QNetworkReply::ConnectionRefusedError:
        return ProviderError::failure(FailureKind::ConnectionRefused);
    case QNetworkReply::HostNotFoundError:
        return ProviderError::failure(FailureKind::HostNotFound);
    case QNetworkReply::RemoteHostClosedError: // the connection was lost mid-exchange
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
        return ProviderError::failure(FailureKind::HostUnreachable);
    default:
        return ProviderError::failure(FailureKind::Other, description);
    }
}

} // namespace tw::TransportError
