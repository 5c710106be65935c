#pragma once

#include "kit/base/StopSource.h"

#include <QCoroTask>
#include <QHostAddress>

#include <chrono>
#include <optional>

namespace tw {

struct EchoOutcome
{
    int sent = 0;
    int answered = 0;
    std::optional<double> averageMs; // over the answered echoes

    bool operator==(const EchoOutcome &) const = default;
};

// Echo requests through the kernel's unprivileged ICMP datagram sockets (no raw socket, no setuid
// helper). Linux lets only the groups in net.ipv4.ping_group_range open them.
namespace ICMPEcho {

// What a user reads when the kernel refuses the socket: the one setting that allows it.
inline constexpr auto notPermittedText = "ping sockets are not allowed for this user; allow them with "
                                         "sysctl -w net.ipv4.ping_group_range=\"0 2147483647\"";

// Sends `count` echo requests one after the other, each answered or given up after `replyTimeout`.
// Throws ProviderError (notPermittedText, "host unreachable", the system's words) or Cancelled.
QCoro::Task<EchoOutcome> ping(QHostAddress address, int count, std::chrono::milliseconds replyTimeout, StopToken stop);

} // namespace ICMPEcho

} // namespace tw
