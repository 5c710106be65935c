#pragma once

#include "kit/base/Sleep.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/SourceSnapshot.h"
#include "kit/providers/SourceProvider.h"

#include <QHash>
#include <QObject>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace tw {

class CredentialStore;

// Runs one independent, cancellable poll loop per source and publishes the combined state of all
// of them. It knows nothing of alerts, history or views. Lives on the main thread's event loop;
// the loops never touch the engine once their stop token has fired, and the destructor fires all.
class PollEngine : public QObject
{
    Q_OBJECT
public:
    // What listeners receive. The two `polled…` fields describe the poll that caused this update and
    // are never part of the stored state.
    struct Update
    {
        QHash<QUuid, SourceSnapshot> snapshots; // each source's last good poll; kept through failures
        QHash<QUuid, QString> errors; // text of each source whose last poll failed
        QHash<QUuid, qint64> consecutiveFailures; // no entry stands for 0
        std::optional<QUuid> polledSourceID;
        bool polledSucceeded = false;

        bool operator==(const Update &) const = default;
    };

    PollEngine(std::shared_ptr<CredentialStore> credentials,
               ProviderMaker makeProvider,
               SleepFunction sleep = Sleep::cancellable,
               QObject *parent = nullptr);
    ~PollEngine() override;

    Update currentState() const { return m_state; }
    bool isPaused() const { return m_paused; }

    // Delivers the current state to `listener`, then every later update, in order, for as long as
    // `context` lives. Nothing is dropped or merged, not even an update published before the event
    // loop turns; the current state arrives on the next turn unless an update comes first.
    void subscribe(QObject *context, std::function<void(const Update &)> listener);

    // Makes the running loops match `sources`: removed sources stop and lose their state, changed
    // ones restart (and so poll at once), untouched ones keep running undisturbed.
    void sync(const QList<AnySourceConfig> &sources);
    // Pausing stops every loop and keeps the last data on show; resuming starts nothing until the
    // next sync().
    void setPaused(bool paused);
    // Polls a running source now; its failure count is kept.
    void refresh(const QUuid &sourceID);

    // The wait before the next poll after `failures` failures in a row: the interval doubled per
    // failure, capped at five minutes, or at the interval itself when that is longer.
    static double backoffDelay(double interval, qint64 failures);

Q_SIGNALS:
    void updated(const tw::PollEngine::Update &update);

private:
    struct Poll
    {
        AnySourceConfig source;
        StopToken stop;
    };
    struct LoopContext;

    void start(const AnySourceConfig &source);
    void recordSuccess(const QUuid &id, SourceSnapshot snapshot);
    qint64 recordFailure(const QUuid &id, const QString &text);
    void publish(std::optional<QUuid> polledSourceID, bool polledSucceeded);
    static QCoro::Task<> runLoop(std::shared_ptr<LoopContext> context);

    std::shared_ptr<CredentialStore> m_credentials;
    ProviderMaker m_makeProvider;
    SleepFunction m_sleep;
    Update m_state;
    QHash<QUuid, Poll> m_polls;
    bool m_paused = false;
};

} // namespace tw
