#pragma once

#include "kit/base/StopSource.h"
#include "kit/transport/Nameserver.h"

#include <QCoroTask>
#include <QHostAddress>
#include <QList>

#include <chrono>
#include <optional>

// Host names to addresses for the transports. Names are looked up through c-ares (hosts file, then
// the nameservers), with one exception: multicast DNS names under ".local", which only the system's
// own resolver modules (nss-mdns) can answer. Those go through getaddrinfo on a detached thread of
// their own, still bounded by the timeout and the stop token: an abandoned one is left to finish
// alone, and quitting never waits for it.
namespace tw::HostLookup {

// Every address of `host` in the order to try them, or the address itself when it is one. Throws
// a ProviderError of kind HostNotFound or TimedOut, or Cancelled once `stop` fires. `server` replaces
// the system's nameservers (tests).
QCoro::Task<QList<QHostAddress>> addresses(QString host,
                                           std::chrono::milliseconds timeout,
                                           StopToken stop,
                                           std::optional<Nameserver> server = std::nullopt);

// The first of them.
QCoro::Task<QHostAddress> resolve(QString host, std::chrono::milliseconds timeout, StopToken stop);

// Whether a name is left to the system's resolver.
bool isMulticastName(const QString &host);

} // namespace tw::HostLookup
