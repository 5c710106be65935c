#pragma once

#include "app/FileChooser.h"
#include "app/LoginItem.h"
#include "app/ReleaseChecker.h"
#include "app/SourceListModel.h"
#include "kit/desktop/AlertCenter.h"
#include "kit/desktop/SecretServiceStatus.h"
#include "kit/model/AnySourceConfig.h"

#include <QObject>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <functional>

namespace tw {

class AppState;
class Preferences;

// What the settings window shows and does: the source list in the user's order with each source's
// widgets, and the general preferences with export, import, launch at login and the update check.
// Every change is applied and saved at once. One alert is on screen at a time; a later one replaces it.
class SettingsController : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The settings' controller comes from the application")
    Q_PROPERTY(tw::SourceListModel *sources READ sources CONSTANT)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(QString permissionText READ permissionText NOTIFY permissionChanged)
    Q_PROPERTY(bool permissionDenied READ permissionDenied NOTIFY permissionChanged)
    Q_PROPERTY(QString keyringText READ keyringText NOTIFY keyringChanged)
    Q_PROPERTY(bool keyringMissing READ keyringMissing NOTIFY keyringChanged)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)
    Q_PROPERTY(QString alertTitle READ alertTitle NOTIFY alertChanged)
    Q_PROPERTY(QString alertBody READ alertBody NOTIFY alertChanged)
    Q_PROPERTY(QString alertActionTitle READ alertActionTitle NOTIFY alertChanged)
    Q_PROPERTY(bool confirmingImport READ confirmingImport NOTIFY alertChanged)
    Q_PROPERTY(QString exportFileName READ exportFileName CONSTANT)
    // Why the sources or the history are not saved; empty while they are.
    Q_PROPERTY(QString storageProblem READ storageProblem NOTIFY storageProblemChanged)

public:
    struct Services
    {
        // The desktop's notification permission; AlertCenter::authorizationStatus in the program.
        std::function<QCoro::Task<AlertCenter::Authorization>()> authorization;
        LoginItem loginItem;
        ReleaseChecker releaseChecker;
        std::function<void(const QUrl &)> openURL;
        QString version; // "—" when empty
        // Opens the desktop's file dialog over the settings window; FileChooser in the program.
        std::function<void(const FileChooser::Request &, FileChooser::Done)> chooseFile = {};
    };

    SettingsController(AppState *state, Preferences *preferences, Services services, QObject *parent = nullptr);
    ~SettingsController() override;

    SourceListModel *sources() const { return m_sources; }
    bool launchAtLogin() const;
    void setLaunchAtLogin(bool on);
    QString permissionText() const;
    bool permissionDenied() const;
    // The desktop keyring's state, read with the permission each time the window comes back.
    void setKeyringStatus(std::function<QCoro::Task<SecretServiceStatus::State>()> read)
    {
        m_readKeyring = std::move(read);
    }
    QString keyringText() const { return SecretServiceStatus::text(m_keyring); }
    bool keyringMissing() const { return m_keyring == SecretServiceStatus::State::Missing; }
    QString version() const;
    bool checking() const { return m_checking; }
    QString storageProblem() const;
    QString alertTitle() const { return m_alert.title; }
    QString alertBody() const { return m_alert.body; }
    QString alertActionTitle() const { return m_alert.actionTitle; }
    bool confirmingImport() const { return !m_pendingImport.isEmpty(); }
    static QString exportFileName() { return QStringLiteral("tidewatch-sources"); }

    // Offsets into the displayed lists; `to` is the row the moved one goes before (the count: last).
    Q_INVOKABLE void moveSource(int from, int to);
    Q_INVOKABLE void moveWidget(const QString &sourceId, int from, int to);
    Q_INVOKABLE void toggleAlerts(const QString &sourceId);
    Q_INVOKABLE void deleteSource(const QString &sourceId);
    Q_INVOKABLE void toggleHidden(const QString &widgetKey);
    Q_INVOKABLE void addSource() { Q_EMIT addSourceRequested(); }
    Q_INVOKABLE void editSource(const QString &sourceId) { Q_EMIT editSourceRequested(sourceId); }
    Q_INVOKABLE void showOnboarding() { Q_EMIT onboardingRequested(); }
    Q_INVOKABLE QString relativeTime(const QDateTime &date) const;
    // Where the file dialogs start.
    static QUrl exportFolder();

    Q_INVOKABLE void refresh();
    // "Export…" and "Import…": the file dialog, then the export or the import of the chosen file.
    // A cancelled dialog says nothing.
    Q_INVOKABLE void exportSources();
    Q_INVOKABLE void importSources();
    // Writes the export; false (with the alert up) when it could not be written.
    Q_INVOKABLE bool exportTo(const QUrl &file);
    Q_INVOKABLE void importFrom(const QUrl &file);
    Q_INVOKABLE void confirmImport();
    Q_INVOKABLE void cancelImport();
    Q_INVOKABLE void checkForUpdates();
    Q_INVOKABLE void dismissAlert();
    Q_INVOKABLE void runAlertAction();

Q_SIGNALS:
    void launchAtLoginChanged();
    void permissionChanged();
    void keyringChanged();
    void checkingChanged();
    void alertChanged();
    void storageProblemChanged();
    void addSourceRequested();
    void editSourceRequested(const QString &sourceId);
    void onboardingRequested();

private:
    struct MessageAlert
    {
        QString title;
        QString body;
        QString actionTitle;
        QUrl actionURL;
    };

    void rebuild();
    void showAlert(MessageAlert alert);
    QCoro::Task<> readPermission();
    QCoro::Task<> readKeyring();
    QCoro::Task<> reportMissingSecrets(QList<AnySourceConfig> imported);
    QCoro::Task<> runUpdateCheck();

    AppState *m_state;
    Preferences *m_preferences;
    Services m_services;
    StopToken m_stop = makeStopToken();
    SourceListModel *m_sources;
    std::optional<AlertCenter::Authorization> m_permission;
    std::function<QCoro::Task<SecretServiceStatus::State>()> m_readKeyring;
    std::optional<SecretServiceStatus::State> m_keyring;
    MessageAlert m_alert;
    QList<AnySourceConfig> m_pendingImport;
    bool m_checking = false;
};

} // namespace tw
