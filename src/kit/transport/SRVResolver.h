#pragma once

#include "kit/base/StopSource.h"
#include "kit/transport/Nameserver.h"

#include <QCoroTask>
#include <QHostAddress>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace tw {

struct SRVRecord
{
    QString host;
    quint16 port = 0;
    bool operator==(const SRVRecord &) const = default;
};

// Whether a name may have an SRV record at all: not empty and not an IPv4 or IPv6 address literal.
bool isSRVEligibleHost(const QString &host);

// Looks up one DNS SRV record. Never fails: no answer, a bad answer and a timeout all read as
// "no record", and the caller goes on with the name it had.
class SRVResolver
{
public:
    virtual ~SRVResolver() = default;
    virtual QCoro::Task<std::optional<SRVRecord>>
    resolve(QString service, std::chrono::milliseconds timeout, StopToken stop) = 0;
};

// Always answers "no record": for tests, and where DNS must not be asked.
class NoSRVResolver : public SRVResolver
{
public:
    QCoro::Task<std::optional<SRVRecord>> resolve(QString, std::chrono::milliseconds, StopToken) override
    {
        co_return std::nullopt;
    }
};

// Asks the system's nameservers, or one given, through c-ares, bounded by the caller's timeout and
// ended at once by its stop token. Of the records, the one RFC 2782 picks (the lowest priority,
// then a draw weighted by weight) decides, and one that breaks the record rules of SRVRData means
// "no record", not a search for another.
class DnsSRVResolver : public SRVResolver
{
public:
    DnsSRVResolver() = default;
    explicit DnsSRVResolver(Nameserver nameserver)
        : m_nameserver(std::move(nameserver))
    { }

    QCoro::Task<std::optional<SRVRecord>>
    resolve(QString service, std::chrono::milliseconds timeout, StopToken stop) override;

    struct Candidate
    {
        quint16 priority = 0;
        quint16 weight = 0;
        SRVRecord record;
        bool operator==(const Candidate &) const = default;
    };
    // RFC 2782's choice among the records of one answer; `draw` gives a number in [0, bound).
    static std::optional<Candidate> pick(const QList<Candidate> &candidates,
                                         const std::function<quint32(quint32 bound)> &draw);

private:
    std::optional<Nameserver> m_nameserver;
};

} // namespace tw
