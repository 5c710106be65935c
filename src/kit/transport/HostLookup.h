#pragma once

#include "kit/transport/StopSource.h"

#include <QCoroTask>
#include <QHostAddress>

#include <chrono>

namespace tw::HostLookup {

// The first address of `host`, or the address itself when it is one. Throws ProviderError "host not
// found" or "timed out", or Cancelled once `stop` fires.
QCoro::Task<QHostAddress> resolve(QString host, std::chrono::milliseconds timeout, StopToken stop);

} // namespace tw::HostLookup
