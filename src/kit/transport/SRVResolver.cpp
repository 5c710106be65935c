#include "SRVResolver.h"

#include "kit/transport/Wakeup.h"

#include <QDnsLookup>

namespace tw {

QCoro::Task<std::optional<SRVRecord>>
DnsSRVResolver::resolve(QString service, std::chrono::milliseconds timeout, StopToken stop)
{
    // The lookup runs on Qt's resolver thread and cannot be stopped there; it is released with
    // deleteLater once it finishes, whoever stopped waiting for it.
    auto *lookup = new QDnsLookup(QDnsLookup::SRV, service);
    QObject::connect(lookup, &QDnsLookup::finished, lookup, &QObject::deleteLater);
    QPointer<QDnsLookup> guard(lookup);
    Wakeup wakeup(timeout);
    wakeup.on(lookup, &QDnsLookup::finished, 1);
    if (stop)
        wakeup.on(stop.get(), &StopSource::stopped, 2);
    lookup->lookup();
    const int why = co_await wakeup;
    if (why != 1 || !guard || guard->error() != QDnsLookup::NoError)
        co_return std::nullopt;
    std::optional<QDnsServiceRecord> best;
    for (const QDnsServiceRecord &record : guard->serviceRecords()) {
        if (record.port() == 0 || record.target().isEmpty())
            continue;
        if (!best || record.priority() < best->priority()
            || (record.priority() == best->priority() && record.weight() > best->weight()))
            best = record;
    }
    if (!best)
        co_return std::nullopt;
    QString host = best->target();
    if (host.endsWith(u'.'))
        host.chop(1);
    co_return SRVRecord{host, best->port()};
}

} // namespace tw
