#include "DnsResolver.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/AresChannel.h"

#include <functional>
#include <netinet/in.h>

using namespace Qt::StringLiterals;

namespace tw::DnsResolver {

namespace {

enum Reason { Done = 1, Stopped };

// Lives in the waiting frame and outlives the channel, whose destructor may still call back.
struct Pending
{
    Wakeup *wakeup = nullptr;
    int status = ARES_ETIMEOUT;
    QByteArray message;
    QList<QHostAddress> addresses;
};

void onReply(void *argument, int status, int, unsigned char *message, int length)
{
    auto *pending = static_cast<Pending *>(argument);
    if (status == ARES_EDESTRUCTION)
        return; // the waiter gave up and is tearing the channel down
    pending->status = status;
    if (message && length > 0)
        pending->message = QByteArray(reinterpret_cast<const char *>(message), length);
    pending->wakeup->wake(Done);
}

void onAddresses(void *argument, int status, int, ares_addrinfo *result)
{
    auto *pending = static_cast<Pending *>(argument);
    if (status != ARES_EDESTRUCTION) {
        pending->status = status;
        for (const ares_addrinfo_node *node = result ? result->nodes : nullptr; node; node = node->ai_next) {
            const QHostAddress address(node->ai_addr);
            if (!address.isNull() && !pending->addresses.contains(address))
                pending->addresses.append(address);
        }
        pending->wakeup->wake(Done);
    }
    if (result)
        ares_freeaddrinfo(result);
}

DnsStatus statusOf(int status)
{
    switch (status) {
    case ARES_SUCCESS:
        return DnsStatus::Answered;
    case ARES_ENODATA:
        return DnsStatus::NoData;
    case ARES_ENOTFOUND:
        return DnsStatus::NotFound;
    case ARES_ESERVFAIL:
        return DnsStatus::ServerFailure;
    case ARES_EREFUSED:
        return DnsStatus::Refused;
    case ARES_ETIMEOUT:
        return DnsStatus::TimedOut;
    case ARES_ECONNREFUSED:
        return DnsStatus::Unreachable;
    default:
        return DnsStatus::Failed;
    }
}

// Starts one request on a channel of its own and waits for its answer, the stop or the time-out.
// The channel is gone before this returns, so a request still running has ended in c-ares. Nothing
// when no channel could be opened.
QCoro::Task<std::optional<int>> run(Pending &pending,
                                    std::optional<Nameserver> server,
                                    std::chrono::milliseconds timeout,
                                    StopToken stop,
                                    std::function<void(AresChannel &)> start)
{
    Wakeup wakeup(timeout);
    pending.wakeup = &wakeup;
    if (stop)
        wakeup.on(stop.get(), &StopSource::stopped, Stopped);
    // Declared after the wakeup, so that its teardown, which may still call back, comes first.
    const std::unique_ptr<AresChannel> channel = AresChannel::open(server, timeout);
    if (!channel)
        co_return std::nullopt;
    start(*channel);
    co_return co_await wakeup;
}

} // namespace

QCoro::Task<DnsReply>
query(QString name, int type, std::chrono::milliseconds timeout, StopToken stop, std::optional<Nameserver> server)
{
    if (stop && stop->isStopped())
        throw Cancelled();
    Pending pending;
    // Named, not a temporary of the awaited call: g++ 12 mishandles those inside co_await.
    const std::function<void(AresChannel &)> start = [&](AresChannel &channel) {
        channel.query(name, type, &onReply, &pending);
    };
    const std::optional<int> why = co_await run(pending, server, timeout, stop, start);
    if (!why)
        co_return DnsReply{DnsStatus::Failed, {}, u"no resolver"_s};
    if (*why == Stopped || pending.status == ARES_ECANCELLED)
        throw Cancelled();
    if (*why != Done)
        co_return DnsReply{DnsStatus::TimedOut, {}, {}};
    const DnsStatus status = statusOf(pending.status);
    co_return DnsReply{status,
                       pending.message,
                       status == DnsStatus::Failed ? QString::fromUtf8(ares_strerror(pending.status)) : QString()};
}

QCoro::Task<QList<QHostAddress>>
addresses(QString host, std::chrono::milliseconds timeout, StopToken stop, std::optional<Nameserver> server)
{
    if (stop && stop->isStopped())
        throw Cancelled();
    Pending pending;
    const std::function<void(AresChannel &)> start = [&](AresChannel &channel) {
        channel.addresses(host, &onAddresses, &pending);
    };
    const std::optional<int> why = co_await run(pending, server, timeout, stop, start);
    if (!why)
        throw ProviderError::failure(FailureKind::HostNotFound);
    if (*why == Stopped || pending.status == ARES_ECANCELLED)
        throw Cancelled();
    if (*why != Done || pending.status == ARES_ETIMEOUT)
        throw ProviderError::failure(FailureKind::TimedOut);
    if (pending.addresses.isEmpty())
        throw ProviderError::failure(FailureKind::HostNotFound);
    co_return pending.addresses;
}

} // namespace tw::DnsResolver
