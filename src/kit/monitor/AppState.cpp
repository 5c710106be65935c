#include "AppState.h"

#include "kit/base/CredentialStore.h"
#include "kit/base/Logging.h"
#include "kit/model/AtomicFile.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/model/Staleness.h"
#include "kit/model/StoredSetting.h"
#include "kit/monitor/EventLog.h"
#include "kit/monitor/EventLogStore.h"
#include "kit/monitor/HistoryRecorder.h"
#include "kit/monitor/HistoryStore.h"
#include "kit/monitor/SourcesFileWatcher.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

template<typename Value>
bool takeEntry(QHash<QUuid, Value> &mine, const QHash<QUuid, Value> &theirs, const QUuid &id)
{
    const auto theirEntry = theirs.constFind(id);
    if (theirEntry == theirs.cend())
        return mine.remove(id);
    const auto myEntry = mine.constFind(id);
    if (myEntry != mine.cend() && *myEntry == *theirEntry)
        return false;
    mine.insert(id, *theirEntry);
    return true;
}

// Rare (sources removed): a deep copy, so that the engine's table stays unshared.
template<typename Value>
bool takeAll(QHash<QUuid, Value> &mine, const QHash<QUuid, Value> &theirs)
{
    if (mine == theirs)
        return false;
    mine.clear();
    for (auto it = theirs.cbegin(); it != theirs.cend(); ++it)
        mine.insert(it.key(), it.value());
    return true;
}

DependencyGate::Answer answerOf(const PollEngine::Update &update)
{
    const auto snapshot = update.snapshots.constFind(*update.polledSourceID);
    if (!update.polledSucceeded || snapshot == update.snapshots.cend())
        return DependencyGate::Answer::Failing;
    bool up = false;
    bool down = false;
    for (const WidgetData &widget : snapshot->widgets) {
        // A host past its limits reads warn, but answers all the same.
        const auto *host = widget.as<HostStats>();
        const ServiceStatus status = host ? host->status : widget.status();
        up = up || status == ServiceStatus::Up;
        down = down || status == ServiceStatus::Down;
    }
    if (!down)
        return DependencyGate::Answer::Up;
    return up ? DependencyGate::Answer::PartlyFailing : DependencyGate::Answer::Failing;
}

} // namespace

bool AppState::environmentIsTestHost()
{
    return qEnvironmentVariableIsSet(testHostVariable);
}

AppState::AppState(Environment environment, QObject *parent)
    : QObject(parent)
    , m_environment(std::move(environment))
    , m_gate(m_environment.wakeGraceMs)
    , m_logGate(m_environment.wakeGraceMs)
{
    Q_ASSERT(m_environment.credentials && m_environment.defaults && m_environment.makeProvider);
    m_engine = new PollEngine(m_environment.credentials, m_environment.makeProvider, m_environment.sleep, this);
    // What a save killed half-way left behind goes before anything is read or written.
    AtomicFile::removeStaleTemporaries(SourcesStore::sourcesPath(m_environment.sourcesDirectory));
    AtomicFile::removeStaleTemporaries(HistoryStore::historyPath(m_environment.sourcesDirectory));
    AtomicFile::removeStaleTemporaries(EventLogStore::eventsPath(m_environment.sourcesDirectory));
    m_history =
        new HistoryRecorder(m_environment.sourcesDirectory, m_environment.historySleep, m_environment.now, this);
    connect(m_history, &HistoryRecorder::writeErrorChanged, this, [this] {
        if (m_history->writeError() == m_historyWriteError)
            return;
        m_historyWriteError = m_history->writeError();
        Q_EMIT storageProblemChanged();
    });
    m_events = new EventLog(m_environment.sourcesDirectory, m_environment.historySleep, m_environment.now, this);
    connect(m_events, &EventLog::writeErrorChanged, this, [this] {
        if (m_events->writeError() == m_eventsWriteError)
            return;
        m_eventsWriteError = m_events->writeError();
        Q_EMIT storageProblemChanged();
    });
    m_sources = m_environment.sources ? *m_environment.sources : SourcesStore::load(m_environment.sourcesDirectory);
    m_dependencies.setSources(m_sources);
    if (m_environment.followSourcesFile && !m_environment.sources) {
        m_sourcesFileBytes = JSONFileStore::readBounded(SourcesStore::sourcesPath(m_environment.sourcesDirectory));
        auto *watcher = new SourcesFileWatcher(m_environment.sourcesDirectory, 250, this);
        connect(watcher, &SourcesFileWatcher::changed, this, &AppState::reloadSourcesFile);
    }
    connect(m_environment.defaults.get(), &PreferenceStore::saveErrorChanged, this, &AppState::storageProblemChanged);
    m_gate.setSnoozes(Snooze::load(*m_environment.defaults));
    m_reviewTimer.setInterval(m_environment.reviewIntervalMs);
    connect(&m_reviewTimer, &QTimer::timeout, this, &AppState::reviewAlerts);
    if (!m_environment.testHost)
        m_reviewTimer.start();
    m_engine->subscribe(this, [this](const PollEngine::Update &update) { consume(update); });
    if (!m_environment.testHost && !m_environment.deferPolling)
        startSync();
}

AppState::~AppState() = default;

AlertGate::Hush AppState::hush() const
{
    return m_gate.hush(m_environment.now());
}

OverallStatus AppState::overallStatus() const
{
    // Everything fails while the machine is cut off; red would blame the estate for it.
    if (!m_paused && hush() != AlertGate::Hush::None)
        return OverallStatus::Unknown;
    const Counted estate = counted();
    return overallStatus(m_paused, estate.snapshots, estate.errors);
}

AppState::Counted AppState::counted() const
{
    // Shared copies, deep only when something sits behind a source that is down.
    const QHash<QUuid, SourceSnapshot> current = currentSnapshots();
    Counted estate{current, m_errors};
    for (auto it = current.keyBegin(); it != current.keyEnd(); ++it) {
        if (blockedBy(*it))
            estate.snapshots.remove(*it);
    }
    for (auto it = m_errors.keyBegin(); it != m_errors.keyEnd(); ++it) {
        if (blockedBy(*it))
            estate.errors.remove(*it);
    }
    return estate;
}

QHash<QUuid, SourceSnapshot> AppState::currentSnapshots() const
{
    return Staleness::current(m_sources, m_snapshots, m_environment.now());
}

OverallStatus
AppState::overallStatus(bool paused, const QHash<QUuid, SourceSnapshot> &snapshots, const QHash<QUuid, QString> &errors)
{
    return paused ? OverallStatus::Paused : overallStatusOf(snapshots, errors);
}

void AppState::addSource(const AnySourceConfig &config)
{
    const QList<AnySourceConfig> old = m_sources;
    m_sources.append(config);
    saveSources(old);
    Q_EMIT sourcesChanged();
    startSync();
    takeUpSources();
    deleteOrphanedCredentials();
}

void AppState::updateSource(const AnySourceConfig &config)
{
    const auto it = std::find_if(m_sources.cbegin(), m_sources.cend(), [&](const AnySourceConfig &source) {
        return source.id() == config.id();
    });
    if (it == m_sources.cend())
        return;
    // Copied before the change: the list is shared, and writing through an iterator taken earlier
    // would change the copy too.
    const QList<AnySourceConfig> old = m_sources;
    m_sources[std::distance(m_sources.cbegin(), it)] = config;
    saveSources(old);
    Q_EMIT sourcesChanged();
    startSync();
    takeUpSources();
    deleteOrphanedCredentials();
}

void AppState::removeSource(const QUuid &id)
{
    const QList<AnySourceConfig> old = m_sources;
    m_sources.removeIf([&](const AnySourceConfig &source) { return source.id() == id; });
    // Its children are left with no parent, in the file too.
    for (AnySourceConfig &source : m_sources) {
        if (source.common().dependsOn == id)
            source.common().dependsOn.reset();
    }
    saveSources(old);
    Q_EMIT sourcesChanged();
    startSync();
    takeUpSources();
    deleteOrphanedCredentials();
    pruneHistory();
    dropSnooze(id);
    m_gate.forget(id);
    m_logGate.forget(id);
}

void AppState::replaceSources(const QList<AnySourceConfig> &list)
{
    const QList<AnySourceConfig> old = m_sources;
    m_sources = list;
    saveSources(old);
    Q_EMIT sourcesChanged();
    startSync();
    takeUpSources();
    deleteOrphanedCredentials();
    pruneHistory();
    forgetRemoved(old);
}

void AppState::refreshAll()
{
    if (m_paused)
        return;
    for (const AnySourceConfig &source : std::as_const(m_sources))
        m_engine->refresh(source.id());
}

void AppState::togglePaused()
{
    m_paused = !m_paused;
    Q_EMIT pausedChanged();
    Q_EMIT stateChanged();
    startSync();
}

void AppState::startSync()
{
    // A paused engine is not told of edits; the resume carries them, and starts every loop afresh.
    if (m_paused) {
        m_engine->setPaused(true);
        return;
    }
    m_engine->setPaused(false);
    m_engine->sync(m_sources);
}

void AppState::reloadSourcesFile()
{
    const QString path = SourcesStore::sourcesPath(m_environment.sourcesDirectory);
    const std::optional<QByteArray> bytes = JSONFileStore::readBounded(path);
    // Missing for a moment (an editor that moves the old file away first) or too large: the list in
    // use stays, and so does the file.
    if (!bytes || bytes == m_sourcesFileBytes)
        return;
    m_sourcesFileBytes = bytes;
    QList<AnySourceConfig> list;
    try {
        list = SourcesStore::decode(*bytes);
    } catch (const std::exception &error) {
        qCWarning(logging::storage,
                  "sources.json was changed by another program and cannot be read (%s); it is moved to "
                  "sources.json.corrupt and the %lld sources in use are kept",
                  error.what(),
                  qlonglong(m_sources.size()));
        JSONFileStore::quarantine(path, SourcesStore::corruptPath(m_environment.sourcesDirectory));
        // Else the next start would find no file, and no sources.
        saveSources();
        return;
    }
    if (list == m_sources)
        return; // a save of ours
    // Secrets stay: the file says which sources there are, not that a secret is no longer wanted;
    // a program that removes sources through the running hub has them deleted there.
    const QList<AnySourceConfig> old = m_sources;
    m_sources = list;
    Q_EMIT sourcesChanged();
    startSync();
    takeUpSources();
    forgetRemoved(old);
}

void AppState::flushHistory()
{
    m_history->flush();
    m_events->flush();
}

QString AppState::storageProblem() const
{
    if (!m_sourcesSaveError.isEmpty())
        return m_sourcesSaveError
            + u". Your changes are kept while Tidewatch runs and saved again at the next change."_s;
    if (!m_historyWriteError.isEmpty())
        return m_historyWriteError + u". The latency history is kept while Tidewatch runs and saved again later."_s;
    if (!m_eventsWriteError.isEmpty())
        return m_eventsWriteError + u". The recent events are kept while Tidewatch runs and saved again later."_s;
    if (const QString error = m_environment.defaults->saveError(); !error.isEmpty())
        return error + u". Your settings are kept while Tidewatch runs and saved again at the next change."_s;
    return {};
}

void AppState::consume(const PollEngine::Update &update)
{
    // Latency, history, alerts and notifications all see the poll before the views do.
    if (update.polledSourceID) {
        const auto snapshot = update.snapshots.constFind(*update.polledSourceID);
        if (update.polledSucceeded && snapshot != update.snapshots.cend()) {
            m_history->record(
                *snapshot,
                [](const WidgetData &widget) { return widget.status(); },
                [](const WidgetData &widget) { return widget.latencyMs(); });
            Q_EMIT polled(*snapshot);
        }
        post(*update.polledSourceID, answerOf(update), evaluateAlerts(update));
        // A poll that found nothing failing is what a snooze "until it recovers" waits for.
        if (update.polledSucceeded && snapshot != update.snapshots.cend() && !snapshot->hasDownWidget()
            && m_gate.sourceHealthy(*update.polledSourceID)) {
            saveSnoozes();
        }
    }
    // A poll changes one source: only its entries are copied. Holding the engine's tables themselves
    // would make its next write copy all of them, once per poll — quadratic in the number of sources.
    const bool snapshotsMoved = update.polledSourceID ? takeEntry(m_snapshots, update.snapshots, *update.polledSourceID)
                                                      : takeAll(m_snapshots, update.snapshots);
    if (snapshotsMoved) {
        Q_EMIT snapshotsChanged();
        Q_EMIT stateChanged();
    }
    const bool errorsMoved = update.polledSourceID ? takeEntry(m_errors, update.errors, *update.polledSourceID)
                                                   : takeAll(m_errors, update.errors);
    if (errorsMoved) {
        Q_EMIT errorsChanged();
        Q_EMIT stateChanged();
    }
}

QList<AlertEvent> AppState::evaluateAlerts(const PollEngine::Update &update)
{
    const auto source = std::find_if(m_sources.cbegin(), m_sources.cend(), [&](const AnySourceConfig &candidate) {
        return candidate.id() == *update.polledSourceID;
    });
    if (source == m_sources.cend())
        return {}; // removed in the meantime
    const QDateTime now = m_environment.now();
    const auto snapshot = update.snapshots.constFind(*update.polledSourceID);
    if (update.polledSucceeded && snapshot != update.snapshots.cend())
        return m_alertEvaluator.recordSuccess(*source, *snapshot, now);
    return m_alertEvaluator.recordFailure(*source, now);
}

void AppState::post(const QUuid &sourceID, DependencyGate::Answer answer, const QList<AlertEvent> &events)
{
    if (m_alertEventsSink)
        m_alertEventsSink(events);
    carryOut(m_dependencies.admit(sourceID, answer, events));
    // An outage begun or ended may put others behind it or take them out from behind it.
    if (!events.isEmpty())
        Q_EMIT stateChanged();
}

void AppState::takeUpSources()
{
    carryOut(m_dependencies.setSources(m_sources));
}

void AppState::carryOut(const DependencyGate::Outcome &outcome)
{
    if (!outcome.refresh.isEmpty()) {
        // On the next turn: a poll that answers at once would otherwise be taken in before this one
        // is done with.
        QMetaObject::invokeMethod(
            this,
            [this, ids = outcome.refresh] {
                if (m_paused)
                    return;
                for (const QUuid &id : ids)
                    m_engine->refresh(id);
            },
            Qt::QueuedConnection);
    }
    const QList<AlertEvent> &events = outcome.pass;
    // The log tells of the same single outages the notifications do.
    logAlerts(m_logGate.admit(events, m_environment.now()).post);
    // A source with alerts off never reaches the gate: neither its outages nor its recoveries count.
    // So alerts turned back on during an outage stay quiet about it: its down alert fired unheard,
    // and the gate posts the recovery only of an outage it posted. The next outage is told.
    QList<AlertEvent> wanted;
    for (const AlertEvent &event : events) {
        if (wantsAlerts(event.sourceID))
            wanted.append(event);
    }
    if (wanted.isEmpty())
        return;
    m_gate.setQuietHours(QuietHours::load(*m_environment.defaults));
    deliver(m_gate.admit(wanted, m_environment.now()));
}

void AppState::forgetRemoved(const QList<AnySourceConfig> &before)
{
    for (const AnySourceConfig &source : before) {
        const QUuid id = source.id();
        if (std::none_of(m_sources.cbegin(), m_sources.cend(), [&](const AnySourceConfig &s) {
                return s.id() == id;
            })) {
            dropSnooze(id);
            m_gate.forget(id);
            m_logGate.forget(id);
        }
    }
}

bool AppState::wantsAlerts(const QUuid &sourceID) const
{
    const auto source = std::find_if(m_sources.cbegin(), m_sources.cend(), [&](const AnySourceConfig &candidate) {
        return candidate.id() == sourceID;
    });
    return source != m_sources.cend() && source->common().alertsEnabled;
}

void AppState::deliver(const AlertGate::Outcome &outcome)
{
    if (outcome.snoozesChanged)
        saveSnoozes();
    if (outcome.hushChanged) {
        Q_EMIT hushChanged();
        Q_EMIT stateChanged();
    }
    if (outcome.post.isEmpty() || m_environment.testHost || !m_environment.postAlert)
        return;
    // Read for every list, so that a change of these switches takes effect at once.
    const PreferenceStore &defaults = *m_environment.defaults;
    const bool globalQuiet = StoredSetting::flag(defaults, StoredSetting::globalQuiet);
    const bool notifyOnRecovery = StoredSetting::flag(defaults, StoredSetting::notifyOnRecovery);
    const bool soundAlerts = StoredSetting::flag(defaults, StoredSetting::soundAlerts);
    for (const AlertEvent &event : outcome.post) {
        if (globalQuiet || (event.kind == AlertEvent::Kind::Recovered && !notifyOnRecovery))
            continue;
        m_environment.postAlert(event, soundAlerts);
    }
}

void AppState::logAlerts(const QList<AlertEvent> &events)
{
    const QDateTime now = m_environment.now();
    for (const AlertEvent &event : events)
        m_events->record(RecentEvent::ofAlert(event, now));
}

QString AppState::displayNameOf(const QUuid &sourceID) const
{
    const auto source = std::find_if(m_sources.cbegin(), m_sources.cend(), [&](const AnySourceConfig &candidate) {
        return candidate.id() == sourceID;
    });
    return source == m_sources.cend() ? QString() : source->common().displayName;
}

void AppState::saveSnoozes()
{
    Snooze::save(*m_environment.defaults, m_gate.snoozes());
    Q_EMIT snoozesChanged();
}

void AppState::snoozeSource(const QUuid &id, std::optional<qint64> seconds)
{
    const QDateTime now = m_environment.now();
    const Snooze snooze{id, seconds ? std::optional(now.addSecs(*seconds)) : std::nullopt};
    m_gate.snooze(snooze);
    saveSnoozes();
    m_events->record(RecentEvent::ofSnooze(snooze, displayNameOf(id), now));
}

void AppState::snoozeAll(qint64 seconds)
{
    const QDateTime now = m_environment.now();
    const Snooze snooze{std::nullopt, now.addSecs(seconds)};
    m_gate.snooze(snooze);
    saveSnoozes();
    m_events->record(RecentEvent::ofSnooze(snooze, {}, now));
}

void AppState::endSnooze(const std::optional<QUuid> &id)
{
    // Only a snooze still in force ends early; one whose time has come was over anyway.
    const bool inForce = m_gate.snoozeOf(id, m_environment.now()).has_value();
    if (!m_gate.endSnooze(id))
        return;
    saveSnoozes();
    if (inForce)
        m_events->record(RecentEvent::ofSnoozeEnd(id, id ? displayNameOf(*id) : QString(), m_environment.now()));
}

void AppState::dropSnooze(const std::optional<QUuid> &id)
{
    if (m_gate.endSnooze(id))
        saveSnoozes();
}

std::optional<Snooze> AppState::snoozeOf(const std::optional<QUuid> &id) const
{
    return m_gate.snoozeOf(id, m_environment.now());
}

void AppState::noteHushChange(bool changed, bool cameBack)
{
    if (changed) {
        Q_EMIT hushChanged();
        Q_EMIT stateChanged();
    }
    if (!cameBack)
        return;
    // The grace period ends on its own; the timer's next beat may be far off.
    if (!m_environment.testHost)
        QTimer::singleShot(std::chrono::milliseconds(m_environment.wakeGraceMs + 50), this, &AppState::reviewAlerts);
    refreshAll();
}

void AppState::setNetworkOnline(bool online)
{
    const bool cameBack = online && !m_gate.isOnline();
    m_logGate.setOnline(online, m_environment.now());
    noteHushChange(m_gate.setOnline(online, m_environment.now()), cameBack);
}

void AppState::setAsleep(bool asleep)
{
    const bool cameBack = !asleep && m_gate.isAsleep();
    m_logGate.setAsleep(asleep, m_environment.now());
    noteHushChange(m_gate.setAsleep(asleep, m_environment.now()), cameBack);
}

void AppState::reviewAlerts()
{
    // Another process (the command line's watch, or the application) may have snoozed something.
    PreferenceStore &defaults = *m_environment.defaults;
    defaults.reload();
    if (const QList<Snooze> stored = Snooze::load(defaults); stored != m_gate.snoozes()) {
        m_gate.setSnoozes(stored);
        Q_EMIT snoozesChanged();
    }
    m_gate.setQuietHours(QuietHours::load(defaults));
    deliver(m_gate.review(m_environment.now(), [this](const QUuid &id) { return wantsAlerts(id); }));
    // Removed sources are forgotten by the log's gate as they go; what it still holds is wanted.
    logAlerts(m_logGate.review(m_environment.now()).post);
}

void AppState::saveSources(const QList<AnySourceConfig> &before)
{
    for (const AnySourceConfig &source : before) {
        for (const QString &name : source.credentialNames()) {
            if (!m_unsavedOrphans.contains(name))
                m_unsavedOrphans.append(name);
        }
    }
    QString error;
    try {
        SourcesStore::save(m_sources, m_environment.sourcesDirectory);
    } catch (const std::exception &failure) {
        // The list in memory stays in use and the next change tries again; until then the file on
        // the disk still names the secrets this change dropped.
        error = QString::fromUtf8(failure.what());
        qCWarning(logging::storage, "%s", failure.what());
    }
    if (error.isEmpty()) {
        // Saved: what the file no longer names may go.
        for (const AnySourceConfig &source : std::as_const(m_sources)) {
            for (const QString &name : source.credentialNames())
                m_unsavedOrphans.removeAll(name);
        }
    }
    if (error != m_sourcesSaveError) {
        m_sourcesSaveError = error;
        Q_EMIT storageProblemChanged();
    }
}

void AppState::deleteOrphanedCredentials()
{
    // Only after a save: the secrets of sources still in sources.json must stay.
    if (!m_sourcesSaveError.isEmpty() || m_unsavedOrphans.isEmpty())
        return;
    const QStringList orphans = std::exchange(m_unsavedOrphans, {});
    // Deletions run on their own; a failure leaves a stray secret behind, never a broken source.
    ++m_pendingDeletions;
    [](QPointer<AppState> self, std::shared_ptr<CredentialStore> store, QStringList names) -> QCoro::Task<> {
        for (const QString &name : names) {
            try {
                co_await store->remove(name);
            } catch (const std::exception &error) {
                qCWarning(logging::secrets, "Could not delete the secret %s: %s", qUtf8Printable(name), error.what());
            }
        }
        if (self && --self->m_pendingDeletions == 0)
            Q_EMIT self->orphanedCredentialsDeleted();
    }(this, m_environment.credentials, orphans);
}

void AppState::pruneHistory()
{
    QSet<QUuid> ids;
    for (const AnySourceConfig &source : std::as_const(m_sources))
        ids.insert(source.id());
    m_history->prune(ids);
}

} // namespace tw
