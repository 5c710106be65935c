#pragma once

#include "kit/transport/StopSource.h"

#include <QCoroTask>
#include <QHostAddress>
#include <QString>

#include <chrono>
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

// The system resolver through QDnsLookup, bounded by the caller's timeout. Qt hands the records over
// in the order RFC 2782 asks for (priority, then a weighted draw); the first one decides, and one
// that breaks the record rules of SRVRData means "no record", not a search for another.
class DnsSRVResolver : public SRVResolver
{
public:
    DnsSRVResolver() = default;
    // Tests point the lookups at a local responder; its port is always 53.
    explicit DnsSRVResolver(QHostAddress nameserver)
        : m_nameserver(std::move(nameserver))
    { }

    QCoro::Task<std::optional<SRVRecord>>
    resolve(QString service, std::chrono::milliseconds timeout, StopToken stop) override;

private:
    QHostAddress m_nameserver;
};

} // namespace tw
