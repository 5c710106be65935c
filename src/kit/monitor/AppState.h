#pragma once

#include "kit/base/Sleep.h"
#include "kit/model/AnySourceConfig.h"
#include "kit/model/OverallStatus.h"
#include "kit/model/PreferenceStore.h"
#include "kit/model/SourceSnapshot.h"
#include "kit/monitor/AlertEvaluator.h"
#include "kit/monitor/AlertGate.h"
#include "kit/monitor/DependencyGate.h"
#include "kit/monitor/PollEngine.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUuid>

#include <functional>
#include <memory>

namespace tw {

class CredentialStore;
class EventLog;
class HistoryRecorder;

// The hub: owns the list of sources, steers the poll engine, and turns each update into latency
// history, alerts, recent events and notifications before it publishes the new state to the views.
// Views never talk to the engine; nothing below this object knows a view exists. Lives on the main
// thread.
class AppState : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool paused READ isPaused NOTIFY pausedChanged)

public:
    // Everything that differs between the program, its tests and the command line.
    struct Environment
    {
        std::shared_ptr<CredentialStore> credentials;
        QString sourcesDirectory; // sources.json, history.json and events.json
        // Sources given by the caller instead of the file's; edits are still saved to the directory.
        std::optional<QList<AnySourceConfig>> sources;
        std::shared_ptr<PreferenceStore> defaults; // snoozes, quiet hours and the views' preferences
        ProviderMaker makeProvider;
        SleepFunction sleep = Sleep::cancellable; // between polls
        SleepFunction historySleep = Sleep::cancellable; // the write windows of the history and the events
        std::function<QDateTime()> now = [] {
            return QDateTime::currentDateTimeUtc();
        };
        // Shows one notification; the bool says whether it may play a sound.
        std::function<void(const AlertEvent &, bool)> postAlert;
        // A test host: nothing polls until startSync() and nothing reaches the desktop.
        bool testHost = false;
        // Polling waits for startSync(), for callers that connect to the hub first.
        bool deferPolling = false;
        // Another program may edit sources.json while the hub runs: the hub takes up what it finds
        // there rather than overwriting it at its next save. Ignored when `sources` is given.
        bool followSourcesFile = false;
        // After a resume or a reconnect, failures are not trusted for this long.
        qint64 wakeGraceMs = AlertGate::defaultGraceMs;
        // How often ended snoozes, the end of quiet hours and the end of a grace period are noticed.
        int reviewIntervalMs = 15'000;
    };

    // The environment variable that marks a test host; its presence alone counts.
    static constexpr auto testHostVariable = "TIDEWATCH_TEST_HOST";
    static bool environmentIsTestHost();

    explicit AppState(Environment environment, QObject *parent = nullptr);
    ~AppState() override;

    const QList<AnySourceConfig> &sources() const { return m_sources; }
    const QString &sourcesDirectory() const { return m_environment.sourcesDirectory; }
    const QHash<QUuid, SourceSnapshot> &snapshots() const { return m_snapshots; }
    const QHash<QUuid, QString> &errors() const { return m_errors; }
    // The snapshots whose readings are still news: those of sources silent for several of their
    // intervals are left out, so that old readings count neither as up nor as down.
    QHash<QUuid, SourceSnapshot> currentSnapshots() const;
    // The estate as the status and its summaries count it: the current snapshots, and the failures,
    // without the sources behind one that is down, which count through it alone.
    struct Counted
    {
        QHash<QUuid, SourceSnapshot> snapshots;
        QHash<QUuid, QString> errors;
    };
    Counted counted() const;
    bool isPaused() const { return m_paused; }
    // Offline, asleep or just awake: the status reads unknown and failures wait.
    AlertGate::Hush hush() const;
    // Sources behind a source that is down count through it alone.
    OverallStatus overallStatus() const;
    static OverallStatus
    overallStatus(bool paused, const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors);
    // The source above this one that is down and takes the blame for its failures ("behind
    // Router"); nothing while it answers well or nothing above it is down.
    std::optional<QUuid> blockedBy(const QUuid &source) const { return m_dependencies.blockedBy(source); }

    HistoryRecorder &historyRecorder() { return *m_history; }
    EventLog &eventLog() { return *m_events; }
    PollEngine &engine() { return *m_engine; }
    CredentialStore &credentials() { return *m_environment.credentials; }
    PreferenceStore &defaults() { return *m_environment.defaults; }

    // Receives every list of alert events before any filtering; for tests and the command line.
    void setAlertEventsSink(std::function<void(const QList<AlertEvent> &)> sink)
    {
        m_alertEventsSink = std::move(sink);
    }

    // The caller has already stored the source's secret under its credential name.
    void addSource(const AnySourceConfig &config);
    void updateSource(const AnySourceConfig &config);
    void removeSource(const QUuid &id);
    void replaceSources(const QList<AnySourceConfig> &list);
    void refreshAll();
    void togglePaused();
    // The only way the engine is commanded. The engine takes its commands synchronously on this
    // thread, so they reach it in the order they were given.
    void startSync();

    // Notifications for one source: for a while, or until it recovers when no length is given.
    void snoozeSource(const QUuid &id, std::optional<qint64> seconds);
    void snoozeAll(qint64 seconds);
    // Without an id, the snooze of every notification. The user's wish: it goes in the recent events.
    void endSnooze(const std::optional<QUuid> &id);
    std::optional<Snooze> snoozeOf(const std::optional<QUuid> &id) const;
    const QList<Snooze> &snoozes() const { return m_gate.snoozes(); }

    // What the system says about the network and sleep. Coming back refreshes every source.
    void setNetworkOnline(bool online);
    void setAsleep(bool asleep);
    // Ends snoozes whose time has come, posts what outlasted a hush and the quiet-hours summary.
    // A timer calls it; tests call it after they move the clock.
    void reviewAlerts();

    // Takes up sources.json as another program left it; its own saves change nothing here. A file
    // that cannot be read is moved aside, as at start, and the list in use is written again.
    void reloadSourcesFile();

    // Writes unwritten history and events; the program calls it before it quits.
    void flushHistory();

    // Why the sources, the history or the events are not on the disk as they are in memory ("Could
    // not save sources.json: No space left on device"); empty when everything is saved. The next
    // change tries again, and clears it once a save succeeds.
    QString storageProblem() const;
    // The last save of sources.json failed; its text.
    const QString &sourcesSaveError() const { return m_sourcesSaveError; }

    // Deletions of orphaned secrets still running.
    int pendingCredentialDeletions() const { return m_pendingDeletions; }

Q_SIGNALS:
    void sourcesChanged();
    void snapshotsChanged();
    void errorsChanged();
    // A poll of one source succeeded; its snapshot, after the history has it and before the views
    // see it through snapshotsChanged.
    void polled(const SourceSnapshot &snapshot);
    void pausedChanged();
    void snoozesChanged();
    void hushChanged();
    // Fires whenever the overall status may have changed; compares nothing.
    void stateChanged();
    // Secrets that no source names any more have been deleted (or failed to be).
    void orphanedCredentialsDeleted();
    void storageProblemChanged();

private:
    void consume(const PollEngine::Update &update);
    QList<AlertEvent> evaluateAlerts(const PollEngine::Update &update);
    // The evaluator's events for one poll: to the sink as they are, then through the dependencies
    // and on to the gate.
    void post(const QUuid &sourceID, DependencyGate::Answer answer, const QList<AlertEvent> &events);
    // Hands what the dependencies decided on to the gate, and polls what they ask for.
    void carryOut(const DependencyGate::Outcome &outcome);
    // After every change of the list.
    void takeUpSources();
    // Ends the snoozes and held alerts of sources that `before` had and the list has no more.
    void forgetRemoved(const QList<AnySourceConfig> &before);
    // The source is still configured and has its alerts on.
    bool wantsAlerts(const QUuid &sourceID) const;
    void deliver(const AlertGate::Outcome &outcome);
    void logAlerts(const QList<AlertEvent> &events);
    // Ends a snooze without the user asking: nothing for the recent events.
    void dropSnooze(const std::optional<QUuid> &id);
    QString displayNameOf(const QUuid &sourceID) const;
    void saveSnoozes();
    void noteHushChange(bool changed, bool cameBack);
    // Saves the list, and on success deletes the secrets that the saved list no longer names.
    // `before` is the list the change started from: the secrets it alone named wait for a save.
    // `before` is the list the file held: its secrets stay until a save without them succeeds.
    void saveSources(const QList<AnySourceConfig> &before = {});
    void deleteOrphanedCredentials();
    void pruneHistory();

    Environment m_environment;
    // sources.json as this hub last read or checked it, to tell an outside edit from a save of ours
    // or a save that failed.
    std::optional<QByteArray> m_sourcesFileBytes;
    QList<AnySourceConfig> m_sources;
    QHash<QUuid, SourceSnapshot> m_snapshots;
    QHash<QUuid, QString> m_errors;
    AlertEvaluator m_alertEvaluator;
    DependencyGate m_dependencies;
    AlertGate m_gate;
    // What the recent events hear: every real outage and its end, whatever the snoozes, quiet hours
    // and alert switches let through to the desktop. A gate that knows none of those holds only the
    // failures of a hush, and drops those that end in time, as the desktop's gate does.
    AlertGate m_logGate;
    QTimer m_reviewTimer;
    std::function<void(const QList<AlertEvent> &)> m_alertEventsSink;
    bool m_paused = false;
    int m_pendingDeletions = 0;
    // Secrets dropped by changes not yet saved: deleting them earlier would rob the sources still in
    // sources.json of their secrets.
    QStringList m_unsavedOrphans;
    QString m_sourcesSaveError;
    QString m_historyWriteError;
    QString m_eventsWriteError;
    PollEngine *m_engine = nullptr;
    HistoryRecorder *m_history = nullptr;
    EventLog *m_events = nullptr;
};

} // namespace tw
