#pragma once

#include "kit/base/ProviderError.h"

#include <QAbstractSocket>
#include <QNetworkReply>

// The one table that turns a failure of the network layers into the short text the user reads:
// "timed out", "connection refused", "host not found", "host unreachable", or the error's own words.
namespace tw::TransportError {

ProviderError classify(QAbstractSocket::SocketError error, const QString &description);
ProviderError classify(QNetworkReply::NetworkError error, const QString &description);

} // namespace tw::TransportError
