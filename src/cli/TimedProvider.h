#pragma once

#include "kit/providers/SourceProvider.h"

#include <QHash>
#include <QUuid>

#include <memory>

namespace tw {

// A provider that notes how long each poll of its source took, failed or not; the metrics page
// reports it. Cancelled polls are not noted: they did not finish.
class TimedProvider : public SourceProvider
{
public:
    using Durations = QHash<QUuid, double>; // seconds, by source

    TimedProvider(std::unique_ptr<SourceProvider> inner, QUuid sourceID, std::shared_ptr<Durations> durations);
    QCoro::Task<SourceSnapshot> fetch(StopToken stop) override;

    // The maker of `maker`'s providers, each timed into `durations`.
    static ProviderMaker timing(ProviderMaker maker, std::shared_ptr<Durations> durations);

private:
    std::unique_ptr<SourceProvider> m_inner;
    QUuid m_sourceID;
    std::shared_ptr<Durations> m_durations;
};

} // namespace tw
