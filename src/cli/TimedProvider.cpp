#include "TimedProvider.h"

#include "kit/base/Cancelled.h"

#include <QElapsedTimer>

namespace tw {

TimedProvider::TimedProvider(std::unique_ptr<SourceProvider> inner,
                             QUuid sourceID,
                             std::shared_ptr<Durations> durations)
    : m_inner(std::move(inner))
    , m_sourceID(sourceID)
    , m_durations(std::move(durations))
{ }

QCoro::Task<SourceSnapshot> TimedProvider::fetch(StopToken stop)
{
    QElapsedTimer clock;
    clock.start();
    const auto note = [this, &clock] {
        m_durations->insert(m_sourceID, double(clock.nsecsElapsed()) / 1e9);
    };
    try {
        SourceSnapshot snapshot = co_await m_inner->fetch(std::move(stop));
        note();
        co_return snapshot;
    } catch (const Cancelled &) {
        throw;
    } catch (...) {
        note();
        throw;
    }
}

ProviderMaker TimedProvider::timing(ProviderMaker maker, std::shared_ptr<Durations> durations)
{
    return [maker = std::move(maker), durations](const AnySourceConfig &config,
                                                 std::shared_ptr<CredentialStore> credentials) {
        std::unique_ptr<SourceProvider> inner = maker(config, std::move(credentials));
        return std::unique_ptr<SourceProvider>(inner ? new TimedProvider(std::move(inner), config.id(), durations)
                                                     : nullptr);
    };
}

} // namespace tw
