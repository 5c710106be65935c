#include "PollEngine.h"

#include "kit/base/ProviderError.h"
#include "kit/transport/Cancelled.h"

#include <QCoroTask>
#include <QPointer>
#include <QSet>

#include <cmath>

namespace tw {

namespace {

// The longest a failing source is left alone, unless its own interval is longer still.
constexpr double backoffCeiling = 300;

} // namespace

// Everything a loop needs, copied out of the engine when it starts, so the loop reaches the
// engine only to record and only while its stop token has not fired.
struct PollEngine::LoopContext
{
    QPointer<PollEngine> engine;
    AnySourceConfig source;
    double interval;
    StopToken stop;
    ProviderMaker makeProvider;
    std::shared_ptr<CredentialStore> credentials;
    SleepFunction sleep;
};

PollEngine::PollEngine(std::shared_ptr<CredentialStore> credentials,
                       ProviderMaker makeProvider,
                       SleepFunction sleep,
                       QObject *parent)
    : QObject(parent)
    , m_credentials(std::move(credentials))
    , m_makeProvider(std::move(makeProvider))
    , m_sleep(std::move(sleep))
{ }

PollEngine::~PollEngine()
{
    for (const Poll &poll : std::as_const(m_polls))
        poll.stop->requestStop();
}

void PollEngine::subscribe(QObject *context, std::function<void(const Update &)> listener)
{
    // Connected at once: a poll that fails before its first wait (a bad URL, a missing secret) is
    // published before the event loop turns, and a listener connected later would never hear of it.
    // The state of this moment still goes first, on the next turn or ahead of the first update,
    // whichever comes sooner.
    struct Greeting
    {
        std::function<void(const Update &)> listener;
        std::optional<Update> pending;
        void deliver()
        {
            if (pending)
                listener(*std::exchange(pending, std::nullopt));
        }
    };
    auto greeting = std::make_shared<Greeting>(Greeting{std::move(listener), m_state});
    connect(this, &PollEngine::updated, context, [greeting](const Update &update) {
        greeting->deliver();
        greeting->listener(update);
    });
    QMetaObject::invokeMethod(
        context,
        [greeting] { greeting->deliver(); },
        Qt::QueuedConnection);
}

double PollEngine::backoffDelay(double interval, qint64 failures)
{
    const double ceiling = interval >= backoffCeiling ? interval : backoffCeiling;
    return std::min(ceiling, std::ldexp(interval, static_cast<int>(std::min<qint64>(failures, 64))));
}

void PollEngine::sync(const QList<AnySourceConfig> &sources)
{
    QSet<QUuid> wanted;
    for (const AnySourceConfig &s : sources)
        wanted.insert(s.id());

    bool changed = false;
    for (auto it = m_polls.begin(); it != m_polls.end();) {
        if (wanted.contains(it.key())) {
            ++it;
            continue;
        }
        it->stop->requestStop();
        it = m_polls.erase(it);
        changed = true;
    }

    QSet<QUuid> known;
    for (auto it = m_state.snapshots.keyBegin(); it != m_state.snapshots.keyEnd(); ++it)
        known.insert(*it);
    for (auto it = m_state.errors.keyBegin(); it != m_state.errors.keyEnd(); ++it)
        known.insert(*it);
    for (const QUuid &id : std::as_const(known)) {
        if (wanted.contains(id))
            continue;
        m_state.snapshots.remove(id);
        m_state.errors.remove(id);
        m_state.consecutiveFailures.remove(id);
        changed = true;
    }

    if (!m_paused) {
        for (const AnySourceConfig &source : sources) {
            const auto it = m_polls.constFind(source.id());
            if (it == m_polls.constEnd() || !(it->source == source))
                start(source);
        }
    }

    if (changed)
        publish(std::nullopt, false);
}

void PollEngine::setPaused(bool paused)
{
    m_paused = paused;
    if (!paused)
        return;
    for (const Poll &poll : std::as_const(m_polls))
        poll.stop->requestStop();
    m_polls.clear();
}

void PollEngine::refresh(const QUuid &sourceID)
{
    const auto it = m_polls.constFind(sourceID);
    if (it != m_polls.constEnd())
        start(AnySourceConfig(it->source));
}

void PollEngine::start(const AnySourceConfig &source)
{
    const auto it = m_polls.constFind(source.id());
    if (it != m_polls.constEnd())
        it->stop->requestStop();

    auto context = std::make_shared<LoopContext>(LoopContext{this,
                                                             source,
                                                             PollInterval::clamp(source.common().pollInterval),
                                                             makeStopToken(),
                                                             m_makeProvider,
                                                             m_credentials,
                                                             m_sleep});
    m_polls.insert(source.id(), Poll{source, context->stop});
    runLoop(std::move(context));
}

QCoro::Task<> PollEngine::runLoop(std::shared_ptr<LoopContext> context)
{
    const QUuid id = context->source.id();
    const StopToken stop = context->stop;
    while (!stop->isStopped()) {
        std::optional<SourceSnapshot> snapshot;
        QString failure;
        bool cancelled = false;
        try {
            std::unique_ptr<SourceProvider> provider = context->makeProvider(context->source, context->credentials);
            if (!provider)
                throw ProviderError::misconfigured(QStringLiteral("no provider for ") + toText(context->source.kind()));
            snapshot = co_await provider->fetch(stop);
        } catch (const Cancelled &) {
            cancelled = true;
        } catch (const ProviderError &error) {
            failure = error.description();
        } catch (const std::exception &error) {
            failure = QString::fromUtf8(error.what());
        } catch (...) {
            failure = QStringLiteral("unexpected error");
        }
        // A cancelled poll records nothing, whatever its outcome: its replacement may already run.
        if (cancelled || stop->isStopped() || !context->engine)
            co_return;

        double delay = context->interval;
        if (snapshot) {
            context->engine->recordSuccess(id, std::move(*snapshot));
        } else {
            const qint64 failures = context->engine->recordFailure(id, failure);
            delay = backoffDelay(context->interval, failures);
        }
        co_await context->sleep(delay, stop);
    }
}

void PollEngine::recordSuccess(const QUuid &id, SourceSnapshot snapshot)
{
    m_state.snapshots.insert(id, std::move(snapshot));
    m_state.errors.remove(id);
    m_state.consecutiveFailures.remove(id);
    publish(id, true);
}

qint64 PollEngine::recordFailure(const QUuid &id, const QString &text)
{
    m_state.errors.insert(id, text);
    const qint64 failures = m_state.consecutiveFailures.value(id, 0) + 1;
    m_state.consecutiveFailures.insert(id, failures);
    publish(id, false);
    return failures;
}

void PollEngine::publish(std::optional<QUuid> polledSourceID, bool polledSucceeded)
{
    Update update = m_state;
    update.polledSourceID = polledSourceID;
    update.polledSucceeded = polledSucceeded;
    Q_EMIT updated(update);
}

} // namespace tw
