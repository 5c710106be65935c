#pragma once

#include "kit/transport/StopSource.h"

#include <QCoroTask>
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

// The system resolver through QDnsLookup, bounded by the caller's timeout. Of several records the
// one with the lowest priority and, among those, the highest weight is taken.
class DnsSRVResolver : public SRVResolver
{
public:
    QCoro::Task<std::optional<SRVRecord>>
    resolve(QString service, std::chrono::milliseconds timeout, StopToken stop) override;
};

} // namespace tw
