#include "SettingsController.h"

#include "app/PopoverText.h"
#include "app/Preferences.h"
#include "app/SettingsText.h"
#include "app/TrayIconPainter.h"
#include "kit/base/Cancelled.h"
#include "kit/base/CredentialStore.h"
#include "kit/base/ProviderError.h"
#include "kit/model/AtomicFile.h"
#include "kit/model/FileWriteError.h"
#include "kit/model/JsonRead.h"
#include "kit/model/SourcesStore.h"
#include "kit/monitor/AppState.h"

#include <QDir>
#include <QPointer>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QList<KeyedWidget> keyedWidgets(const AppState &state, const WidgetLayout &layout, const QUuid &id)
{
    QList<KeyedWidget> rows;
    const auto snapshot = state.snapshots().constFind(id);
    if (snapshot == state.snapshots().cend())
        return rows;
    for (const WidgetData &widget : snapshot->widgets)
        rows.append({widget.widgetKey(id), widget});
    return layout.ordered(rows);
}

} // namespace

SettingsController::SettingsController(AppState *state, Preferences *preferences, Services services, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_preferences(preferences)
    , m_services(std::move(services))
    , m_sources(new SourceListModel(this))
{
    for (auto signal : {&AppState::sourcesChanged, &AppState::snapshotsChanged, &AppState::errorsChanged})
        connect(m_state, signal, this, &SettingsController::rebuild);
    connect(m_preferences, &Preferences::widgetLayoutChanged, this, &SettingsController::rebuild);
    connect(m_state, &AppState::storageProblemChanged, this, &SettingsController::storageProblemChanged);
    rebuild();
}

QString SettingsController::storageProblem() const
{
    return m_state->storageProblem();
}

SettingsController::~SettingsController()
{
    m_stop->requestStop();
}

void SettingsController::rebuild()
{
    QList<QVariantMap> list;
    const QList<QUuid> order = m_preferences->widgetLayout().orderedSourceIDs(m_state->sources());
    for (const QUuid &id : order) {
        const auto source = std::find_if(m_state->sources().cbegin(),
                                         m_state->sources().cend(),
                                         [&](const AnySourceConfig &candidate) { return candidate.id() == id; });
        if (source == m_state->sources().cend())
            continue;
        QVariantList widgets;
        for (const KeyedWidget &row : keyedWidgets(*m_state, m_preferences->widgetLayout(), id)) {
            widgets.append(QVariantMap{
                {u"key"_s, row.key},
                {u"name"_s, row.widget.name()},
                {u"hidden"_s, m_preferences->widgetLayout().hidden.contains(row.key)},
            });
        }
        const auto snapshot = m_state->snapshots().constFind(id);
        list.append(QVariantMap{
            {u"id"_s, JsonRead::uuidText(id)},
            {u"name"_s, source->common().displayName},
            {u"kindLabel"_s, AnySourceConfig::info(source->kind()).title.toString()},
            {u"symbol"_s, AnySourceConfig::info(source->kind()).symbol.toString()},
            {u"target"_s, source->target()},
            {u"statusColour"_s,
             TrayIconPainter::statusColour(SettingsText::sourceStatus(id, m_state->snapshots(), m_state->errors()))},
            {u"fetchedAt"_s, snapshot == m_state->snapshots().cend() ? QDateTime() : snapshot->fetchedAt},
            {u"alertsEnabled"_s, source->common().alertsEnabled},
            {u"widgets"_s, widgets},
        });
    }
    m_sources->setRows(list);
}

QString SettingsController::relativeTime(const QDateTime &date) const
{
    return PopoverText::relativeTime(date, QDateTime::currentDateTimeUtc());
}

QUrl SettingsController::exportFolder()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QUrl::fromLocalFile(QDir(documents).exists() ? documents : QDir::homePath());
}

void SettingsController::moveSource(int from, int to)
{
    WidgetLayout layout = m_preferences->widgetLayout();
    layout.moveSource(m_state->sources(), {from}, to);
    m_preferences->setWidgetLayout(layout);
}

void SettingsController::moveWidget(const QString &sourceId, int from, int to)
{
    WidgetLayout layout = m_preferences->widgetLayout();
    layout.moveWidget(keyedWidgets(*m_state, layout, QUuid::fromString(sourceId)), {from}, to);
    m_preferences->setWidgetLayout(layout);
}

void SettingsController::toggleAlerts(const QString &sourceId)
{
    const QUuid id = QUuid::fromString(sourceId);
    for (const AnySourceConfig &source : m_state->sources()) {
        if (source.id() != id)
            continue;
        AnySourceConfig changed = source;
        changed.common().alertsEnabled = !changed.common().alertsEnabled;
        m_state->updateSource(changed);
        return;
    }
}

void SettingsController::deleteSource(const QString &sourceId)
{
    m_state->removeSource(QUuid::fromString(sourceId));
}

void SettingsController::toggleHidden(const QString &widgetKey)
{
    WidgetLayout layout = m_preferences->widgetLayout();
    if (!layout.hidden.remove(widgetKey))
        layout.hidden.insert(widgetKey);
    m_preferences->setWidgetLayout(layout);
}

bool SettingsController::launchAtLogin() const
{
    return m_preferences->launchAtLogin();
}

void SettingsController::setLaunchAtLogin(bool on)
{
    const bool old = m_preferences->launchAtLogin();
    if (old == on)
        return;
    m_preferences->setLaunchAtLogin(on);
    Q_EMIT launchAtLoginChanged();
    try {
        switch (LoginItem::actionFor(m_services.loginItem.status(), on)) {
        case LoginItem::Action::Register:
            m_services.loginItem.registerItem();
            break;
        case LoginItem::Action::Unregister:
            m_services.loginItem.unregisterItem();
            break;
        case LoginItem::Action::None:
            break;
        }
    } catch (const LoginItem::Error &error) {
        // Setting it back finds the item as it was, so it asks for nothing more.
        m_preferences->setLaunchAtLogin(old);
        Q_EMIT launchAtLoginChanged();
        showAlert({u"Couldn't Update Launch at Login"_s, error.text(), {}, {}});
    }
}

QString SettingsController::permissionText() const
{
    return SettingsText::permissionText(m_permission);
}

bool SettingsController::permissionDenied() const
{
    return m_permission == AlertCenter::Authorization::Denied;
}

QString SettingsController::version() const
{
    return m_services.version.isEmpty() ? u"—"_s : m_services.version;
}

void SettingsController::refresh()
{
    // The switch mirrors the autostart entry, which the user may have removed by other means.
    const bool enabled = m_services.loginItem.status() == LoginItem::Status::Enabled;
    if (m_preferences->launchAtLogin() != enabled) {
        m_preferences->setLaunchAtLogin(enabled);
        Q_EMIT launchAtLoginChanged();
    }
    readPermission();
    readKeyring();
}

QCoro::Task<> SettingsController::readKeyring()
{
    if (!m_readKeyring)
        co_return;
    QPointer<SettingsController> self = this;
    const StopToken stop = m_stop;
    auto read = m_readKeyring;
    const SecretServiceStatus::State state = co_await read();
    if (!self || stop->isStopped())
        co_return;
    m_keyring = state;
    Q_EMIT keyringChanged();
}

QCoro::Task<> SettingsController::readPermission()
{
    if (!m_services.authorization)
        co_return;
    QPointer<SettingsController> self = this;
    const StopToken stop = m_stop;
    auto ask = m_services.authorization;
    const AlertCenter::Authorization status = co_await ask();
    if (!self || stop->isStopped())
        co_return;
    m_permission = status;
    Q_EMIT permissionChanged();
}

void SettingsController::exportSources()
{
    if (!m_services.chooseFile)
        return;
    QPointer<SettingsController> self = this;
    m_services.chooseFile({FileChooser::Mode::Save,
                           u"Export Sources"_s,
                           exportFolder().toLocalFile(),
                           exportFileName() + u".json"_s,
                           u"JSON files"_s,
                           {u"*.json"_s}},
                          [self](const QString &path) {
                              if (self && !path.isEmpty())
                                  self->exportTo(QUrl::fromLocalFile(path));
                          });
}

void SettingsController::importSources()
{
    if (!m_services.chooseFile)
        return;
    QPointer<SettingsController> self = this;
    m_services.chooseFile({FileChooser::Mode::Open,
                           u"Import Sources"_s,
                           exportFolder().toLocalFile(),
                           {},
                           u"JSON files"_s,
                           {u"*.json"_s}},
                          [self](const QString &path) {
                              if (self && !path.isEmpty())
                                  self->importFrom(QUrl::fromLocalFile(path));
                          });
}

bool SettingsController::exportTo(const QUrl &file)
{
    if (!file.isLocalFile()) {
        showAlert({u"Export Failed"_s, u"Only local files can be written."_s, {}, {}});
        return false;
    }
    try {
        AtomicFile::write(file.toLocalFile(), SourcesStore::encode(m_state->sources()));
    } catch (const FileWriteError &error) {
        showAlert({u"Export Failed"_s, error.text(), {}, {}});
        return false;
    }
    return true;
}

void SettingsController::importFrom(const QUrl &file)
{
    QList<AnySourceConfig> imported;
    try {
        imported = SourcesStore::importFile(file.toLocalFile());
    } catch (const std::exception &) {
        showAlert({u"Import Failed"_s, u"Tidewatch cannot read that file as a sources file."_s, {}, {}});
        return;
    }
    if (imported.isEmpty()) {
        showAlert({u"Import Failed"_s, u"That file holds no source."_s, {}, {}});
        return;
    }
    showAlert({u"Replace Your Sources?"_s,
               SettingsText::replaceConfirmation(m_state->sources().size(), imported.size()),
               {},
               {}});
    m_pendingImport = imported;
    Q_EMIT alertChanged();
}

void SettingsController::cancelImport()
{
    m_pendingImport.clear();
    showAlert({});
}

void SettingsController::confirmImport()
{
    const QList<AnySourceConfig> list = std::exchange(m_pendingImport, {});
    if (list.isEmpty())
        return;
    showAlert({});
    m_state->replaceSources(list);
    reportMissingSecrets(list);
}

QCoro::Task<> SettingsController::reportMissingSecrets(QList<AnySourceConfig> imported)
{
    QPointer<SettingsController> self = this;
    const StopToken stop = m_stop;
    CredentialStore *credentials = &m_state->credentials();
    QPointer<AppState> state = m_state;
    QStringList missing;
    // What the store holds is told, not what the import is known to have done.
    for (const AnySourceConfig &source : imported) {
        for (const QString &name : source.credentialNames()) {
            std::optional<QString> secret;
            try {
                secret = co_await credentials->read(name);
            } catch (const std::exception &) {
                secret.reset();
            }
            if (!self || !state || stop->isStopped())
                co_return;
            if (!secret || secret->isEmpty())
                missing.append(source.common().displayName);
        }
    }
    showAlert({u"Import Complete"_s, SettingsText::importSummary(imported.size(), missing), {}, {}});
}

void SettingsController::checkForUpdates()
{
    if (m_checking)
        return;
    m_checking = true;
    Q_EMIT checkingChanged();
    runUpdateCheck();
}

QCoro::Task<> SettingsController::runUpdateCheck()
{
    QPointer<SettingsController> self = this;
    const StopToken stop = m_stop;
    const ReleaseChecker checker = m_services.releaseChecker;
    MessageAlert alert;
    try {
        const ReleaseCheckResult result = co_await checker.check(version(), stop);
        if (result.kind == ReleaseCheckResult::Kind::UpToDate) {
            alert = {u"Tidewatch Is Up to Date"_s, SettingsText::upToDateBody(result.manifest.version), {}, {}};
        } else {
            alert = {SettingsText::updateAvailableTitle(result.manifest.version),
                     SettingsText::updateAvailableBody(checker.endpoint.host()),
                     u"Download"_s,
                     result.manifest.downloadURL};
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &) {
        alert = {u"Couldn't Check for Updates"_s, u"Try again when you have a network connection."_s, {}, {}};
    }
    if (!self || stop->isStopped())
        co_return;
    showAlert(alert);
    m_checking = false;
    Q_EMIT checkingChanged();
}

void SettingsController::showAlert(MessageAlert alert)
{
    m_pendingImport.clear();
    m_alert = std::move(alert);
    Q_EMIT alertChanged();
}

void SettingsController::dismissAlert()
{
    m_pendingImport.clear();
    showAlert({});
}

void SettingsController::runAlertAction()
{
    const QUrl url = m_alert.actionURL;
    dismissAlert();
    if (url.isValid() && m_services.openURL)
        m_services.openURL(url);
}

} // namespace tw
