#include "FakeProviders.h"

#include "kit/base/Cancelled.h"
#include "kit/base/ProviderError.h"
#include "kit/base/Wakeup.h"

#include <QPointer>

namespace tw::test {

namespace {

class ScriptedProvider : public SourceProvider
{
public:
    explicit ScriptedProvider(std::function<QCoro::Task<SourceSnapshot>()> fetchFunction)
        : m_fetch(std::move(fetchFunction))
    { }
    QCoro::Task<SourceSnapshot> fetch(StopToken) override { return m_fetch(); }

private:
    std::function<QCoro::Task<SourceSnapshot>()> m_fetch;
};

} // namespace

WidgetData FakeProviders::widgetFor(const AnySourceConfig &config, int fetchNumber)
{
    return CheckResult{QStringLiteral("probe"),
                       config.common().displayName,
                       ServiceStatus::Up,
                       double(fetchNumber),
                       QStringLiteral("fetch %1").arg(fetchNumber),
                       {}};
}

ProviderMaker FakeProviders::maker()
{
    QPointer<FakeProviders> self(this);
    return [self](const AnySourceConfig &config, std::shared_ptr<CredentialStore>) -> std::unique_ptr<SourceProvider> {
        const QUuid id = config.id();
        if (self->m_makeFailures.contains(id))
            throw ProviderError::misconfigured(self->m_makeFailures.value(id));
        const int number = ++self->m_fetches[id];
        ++self->m_total;
        return std::make_unique<ScriptedProvider>([self, config, number] { return self->fetch(config, number); });
    };
}

QCoro::Task<SourceSnapshot> FakeProviders::fetch(AnySourceConfig config, int fetchNumber)
{
    const QUuid id = config.id();
    QPointer<FakeProviders> self(this); // a cancelled fetch may finish after the test dropped its fakes
    if (m_held.contains(id)) {
        Wakeup wakeup(std::chrono::hours(1));
        wakeup.on(this, &FakeProviders::heldReleased, 0);
        // Fakes that go with their test answer at once, so no fetch outlives the test waiting.
        wakeup.on(this, &QObject::destroyed, 0);
        co_await wakeup;
    } else {
        // Answer on a later event-loop turn, as a network exchange would.
        Wakeup wakeup(std::chrono::milliseconds(0));
        co_await wakeup;
    }
    if (!self)
        throw Cancelled();
    if (m_failures.contains(id))
        throw ProviderError::upstream(m_failures.value(id));
    const QDateTime fetchedAt = m_fetchedAt.value(id, QDateTime::currentDateTimeUtc());
    if (m_widgets.contains(id))
        co_return SourceSnapshot{id, fetchedAt, m_widgets.value(id)};
    co_return SourceSnapshot{id, fetchedAt, {widgetFor(config, fetchNumber)}};
}

} // namespace tw::test
