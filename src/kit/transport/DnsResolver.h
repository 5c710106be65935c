#pragma once

#include "kit/base/StopSource.h"
#include "kit/transport/DnsReply.h"
#include "kit/transport/Nameserver.h"

#include <QCoroTask>
#include <QHostAddress>
#include <QList>

#include <chrono>
#include <optional>

// Look-ups through c-ares on the calling thread's event loop. Each is bounded by its timeout and
// ended in c-ares the moment its stop token fires (Cancelled is thrown), so a silent nameserver
// holds up neither other look-ups nor quitting.
namespace tw::DnsResolver {

// One question of class IN for `type` (a DNS type number: 1 A, 33 SRV, ...), asked of `server` or
// of the system's nameservers, without the search list.
QCoro::Task<DnsReply> query(QString name,
                            int type,
                            std::chrono::milliseconds timeout,
                            StopToken stop,
                            std::optional<Nameserver> server = std::nullopt);

// The addresses of a host name as the system would find them, hosts file first, in the order
// to try them (RFC 6724). Throws a ProviderError of kind HostNotFound or TimedOut.
QCoro::Task<QList<QHostAddress>> addresses(QString host,
                                           std::chrono::milliseconds timeout,
                                           StopToken stop,
                                           std::optional<Nameserver> server = std::nullopt);

} // namespace tw::DnsResolver
