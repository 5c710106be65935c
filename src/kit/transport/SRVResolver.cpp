#include "SRVResolver.h"

#include "kit/transport/SRVRData.h"
#include "kit/transport/Wakeup.h"

#include <QDnsLookup>

namespace tw {

bool isSRVEligibleHost(const QString &host)
{
    // QHostAddress reads both families, and refuses what only looks numeric ("1.2.3.4.5").
    return !host.isEmpty() && QHostAddress(host).isNull();
}

QCoro::Task<std::optional<SRVRecord>>
DnsSRVResolver::resolve(QString service, std::chrono::milliseconds timeout, StopToken stop)
{
    if (stop && stop->isStopped())
        co_return std::nullopt;
    // The lookup runs on a thread of Qt's and hands its answer over through a blocking queued call,
    // so an abandoned one must not outlive this wait: deleting it cuts that call off, where a lookup
    // left waiting would hold up the process at exit. The resolver call itself cannot be stopped and
    // ends by its own timeout.
    std::unique_ptr<QDnsLookup> lookup = std::make_unique<QDnsLookup>(QDnsLookup::SRV, service);
    if (!m_nameserver.isNull())
        lookup->setNameserver(m_nameserver);
    Wakeup wakeup(timeout);
    wakeup.on(lookup.get(), &QDnsLookup::finished, 1);
    if (stop)
        wakeup.on(stop.get(), &StopSource::stopped, 2);
    lookup->lookup();
    const int why = co_await wakeup;
    if (why != 1 || lookup->error() != QDnsLookup::NoError)
        co_return std::nullopt;
    const QList<QDnsServiceRecord> records = lookup->serviceRecords();
    if (records.isEmpty())
        co_return std::nullopt;
    co_return SRVRData::accept(records.first().port(), records.first().target());
}

} // namespace tw
