#include "HostLookup.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"
#include "kit/transport/DnsResolver.h"

#include <QSocketNotifier>

#include <mutex>
#include <netdb.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tw::HostLookup {

namespace {

enum Reason { Done = 1, Stopped };

// Shared by the waiting frame and the worker thread; whichever lets go last closes the descriptor,
// so the worker never writes to one that was closed and reused.
struct SystemLookup
{
    SystemLookup()
        : ready(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    { }
    ~SystemLookup()
    {
        if (ready >= 0)
            ::close(ready);
    }
    SystemLookup(const SystemLookup &) = delete;
    SystemLookup &operator=(const SystemLookup &) = delete;

    const int ready; // an eventfd, written once the answer is in
    std::mutex mutex;
    QList<QHostAddress> addresses;
};

QCoro::Task<QList<QHostAddress>> systemAddresses(QString host, std::chrono::milliseconds timeout, StopToken stop)
{
    const auto lookup = std::make_shared<SystemLookup>();
    if (lookup->ready < 0)
        throw ProviderError::failure(FailureKind::HostNotFound);
    QSocketNotifier notifier(lookup->ready, QSocketNotifier::Read);
    Wakeup wakeup(timeout);
    wakeup.on(&notifier, &QSocketNotifier::activated, Done);
    if (stop)
        wakeup.on(stop.get(), &StopSource::stopped, Stopped);
    // Not one of Qt's pooled threads: nothing joins it, at exit or anywhere else.
    std::thread([lookup, name = host.toUtf8()] {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_ADDRCONFIG;
        addrinfo *result = nullptr;
        QList<QHostAddress> found;
        if (getaddrinfo(name.constData(), nullptr, &hints, &result) == 0) {
            for (const addrinfo *node = result; node; node = node->ai_next) {
                const QHostAddress address(node->ai_addr);
                if (node->ai_addr && !address.isNull() && !found.contains(address))
                    found.append(address);
            }
            freeaddrinfo(result);
        }
        const std::lock_guard hold(lookup->mutex);
        lookup->addresses = found;
        const quint64 one = 1;
        [[maybe_unused]] const auto written = ::write(lookup->ready, &one, sizeof one);
    }).detach();
    const int why = co_await wakeup;
    if (why == Stopped)
        throw Cancelled();
    if (why != Done)
        throw ProviderError::failure(FailureKind::TimedOut);
    const std::lock_guard hold(lookup->mutex);
    if (lookup->addresses.isEmpty())
        throw ProviderError::failure(FailureKind::HostNotFound);
    co_return lookup->addresses;
}

} // namespace

bool isMulticastName(const QString &host)
{
    QString name = host.toLower();
    if (name.endsWith(u'.'))
        name.chop(1);
    return name.endsWith(u".local"_s);
}

QCoro::Task<QList<QHostAddress>>
addresses(QString host, std::chrono::milliseconds timeout, StopToken stop, std::optional<Nameserver> server)
{
    if (stop && stop->isStopped())
        throw Cancelled();
    const QHostAddress literal(host);
    if (!literal.isNull())
        co_return QList<QHostAddress>{literal};
    if (host.isEmpty())
        throw ProviderError::failure(FailureKind::HostNotFound);
    if (isMulticastName(host) && !server)
        co_return co_await systemAddresses(host, timeout, stop);
    co_return co_await DnsResolver::addresses(host, timeout, stop, server);
}

QCoro::Task<QHostAddress> resolve(QString host, std::chrono::milliseconds timeout, StopToken stop)
{
    const QList<QHostAddress> found = co_await addresses(std::move(host), timeout, std::move(stop));
    co_return found.first();
}

} // namespace tw::HostLookup
