#include "SRVResolver.h"

#include "kit/base/Cancelled.h"
#include "kit/transport/DnsResolver.h"
#include "kit/transport/SRVRData.h"

#include <QRandomGenerator>

#include <ares.h>
#include <arpa/nameser.h>

namespace tw {

bool isSRVEligibleHost(const QString &host)
{
    // QHostAddress reads both families, and refuses what only looks numeric ("1.2.3.4.5").
    return !host.isEmpty() && QHostAddress(host).isNull();
}

std::optional<DnsSRVResolver::Candidate> DnsSRVResolver::pick(const QList<Candidate> &candidates,
                                                              const std::function<quint32(quint32)> &draw)
{
    if (candidates.isEmpty())
        return std::nullopt;
    quint16 lowest = candidates.first().priority;
    for (const Candidate &candidate : candidates)
        lowest = std::min(lowest, candidate.priority);
    // Weight 0 goes first, so that it is drawn only on a draw of 0 or when nothing else is there.
    QList<Candidate> group;
    QList<Candidate> weighted;
    quint32 total = 0;
    for (const Candidate &candidate : candidates) {
        if (candidate.priority != lowest)
            continue;
        (candidate.weight == 0 ? group : weighted).append(candidate);
        total += candidate.weight;
    }
    group.append(weighted);
    if (total == 0)
        return group.first();
    const quint32 ticket = draw(total + 1);
    quint32 running = 0;
    for (const Candidate &candidate : std::as_const(group)) {
        running += candidate.weight;
        if (running >= ticket)
            return candidate;
    }
    return group.last();
}

QCoro::Task<std::optional<SRVRecord>>
DnsSRVResolver::resolve(QString service, std::chrono::milliseconds timeout, StopToken stop)
{
    DnsReply reply;
    try {
        reply = co_await DnsResolver::query(service, ns_t_srv, timeout, stop, m_nameserver);
    } catch (const Cancelled &) {
        co_return std::nullopt;
    }
    if (reply.status != DnsStatus::Answered)
        co_return std::nullopt;
    ares_srv_reply *records = nullptr;
    if (ares_parse_srv_reply(reinterpret_cast<const unsigned char *>(reply.message.constData()),
                             int(reply.message.size()),
                             &records)
        != ARES_SUCCESS)
        co_return std::nullopt;
    QList<Candidate> candidates;
    for (const ares_srv_reply *record = records; record; record = record->next)
        candidates.append({record->priority, record->weight, {QString::fromUtf8(record->host), record->port}});
    ares_free_data(records);
    const std::optional<Candidate> chosen =
        pick(candidates, [](quint32 bound) { return QRandomGenerator::global()->bounded(bound); });
    if (!chosen)
        co_return std::nullopt;
    co_return SRVRData::accept(chosen->record.port, chosen->record.host);
}

} // namespace tw
