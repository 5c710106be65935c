#pragma once

#include "kit/base/ProviderError.h"

#include <QAbstractSocket>
#include <QNetworkReply>

// Sorts Qt's socket and reply errors into the failure kinds callers tell apart; whatever has no
// kind of its own keeps Qt's words.
namespace tw::TransportError {

ProviderError classify(QAbstractSocket::SocketError error, const QString &description);
ProviderError classify(QNetworkReply::NetworkError error, const QString &description);

} // namespace tw::TransportError
