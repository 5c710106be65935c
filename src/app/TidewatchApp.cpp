#include "TidewatchApp.h"

#include "app/FileChooser.h"
#include "app/IconProvider.h"
#include "app/LoginItem.h"
#include "app/OnboardingController.h"
#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "app/Preferences.h"
#include "app/QmlWindow.h"
#include "app/SettingsController.h"
#include "app/SourceEditor.h"
#include "app/Theme.h"
#include "app/TrayController.h"
#include "kit/monitor/AlertCenter.h"
#include "kit/monitor/ConnectivityWatcher.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/transport/BoundedHTTPClient.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace tw {

TidewatchApp::LaunchOptions TidewatchApp::LaunchOptions::parse(const QStringList &arguments)
{
    return {arguments.contains(u"-uiTestShowOnboarding"_s),
            arguments.contains(u"-uiTestDemoSources"_s),
            arguments.contains(u"-uiTestShowSettings"_s)};
}

bool TidewatchApp::opensOnboarding(const LaunchOptions &options, bool testHost, bool onboardingCompleted)
{
    if (options.showOnboarding)
        return true;
    return !testHost && !options.demoSources && !onboardingCompleted;
}

TidewatchApp::TidewatchApp(AppState::Environment environment, LaunchOptions options, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_preferences(new Preferences(environment.defaults, this))
    , m_theme(new Theme(this))
    , m_state(new AppState(std::move(environment), this))
    , m_rows(new PopoverModel(m_state, this))
    , m_controller(new PopoverController(m_state, m_rows, this))
    , m_popover(new PopoverWindow(
          m_controller,
          [this] { return qmlEngine(); },
          this))
    , m_sourceEditor(new SourceEditor(
          m_state,
          ProviderRegistry::maker(),
          [this] { return qmlEngine(); },
          this))
    , m_tray(new TrayController(m_state, this))
    , m_alerts(std::make_shared<AlertCenter>())
    , m_fileChooser(new FileChooser(QDBusConnection::sessionBus(), this))
{
    auto authorization = [alerts = m_alerts] {
        return alerts->authorizationStatus();
    };
    SettingsController::Services services{
        authorization,
        LoginItem(),
        ReleaseChecker{ReleaseChecker::defaultEndpoint(), BoundedHTTPClient::shared()},
        [](const QUrl &url) { QDesktopServices::openUrl(url); },
        QCoreApplication::applicationVersion(),
        [this](const FileChooser::Request &request, FileChooser::Done done) {
            m_fileChooser->choose(m_settingsWindow->view(), request, std::move(done));
        }};
    m_settings = new SettingsController(m_state, m_preferences, std::move(services), this);
    m_onboarding = new OnboardingController(m_state, m_preferences, authorization, this);
    const auto engine = [this] {
        return qmlEngine();
    };
    m_settingsWindow = new QmlWindow({QUrl(u"qrc:/qml/Settings.qml"_s),
                                      u"Tidewatch Settings"_s,
                                      QSize(480, 540),
                                      {{u"settings"_s, QVariant::fromValue<QObject *>(m_settings)}}},
                                     engine,
                                     this);
    m_onboardingWindow = new QmlWindow({QUrl(u"qrc:/qml/Onboarding.qml"_s),
                                        u"Welcome to Tidewatch"_s,
                                        QSize(520, 560),
                                        {{u"onboarding"_s, QVariant::fromValue<QObject *>(m_onboarding)}}},
                                       engine,
                                       this);
    connect(this, &TidewatchApp::settingsRequested, m_settingsWindow, &QmlWindow::show);
    connect(this, &TidewatchApp::onboardingRequested, m_onboardingWindow, &QmlWindow::show);
    connect(m_settingsWindow, &QmlWindow::shown, m_settings, &SettingsController::refresh);
    connect(m_onboardingWindow, &QmlWindow::shown, m_onboarding, &OnboardingController::opened);
    connect(m_onboardingWindow, &QmlWindow::hidden, m_onboarding, &OnboardingController::closed);
    connect(m_settings, &SettingsController::onboardingRequested, this, &TidewatchApp::onboardingRequested);
    connect(m_settings, &SettingsController::addSourceRequested, this, &TidewatchApp::addSourceRequested);
    connect(m_settings, &SettingsController::editSourceRequested, this, &TidewatchApp::editSourceRequested);
    connect(m_onboarding, &OnboardingController::addSourceRequested, this, &TidewatchApp::addSourceRequested);
    connect(this, &TidewatchApp::addSourceRequested, m_sourceEditor, &SourceEditor::add);
    connect(this, &TidewatchApp::editSourceRequested, m_sourceEditor, [this](const QString &sourceId) {
        m_sourceEditor->edit(QUuid::fromString(sourceId));
    });
    connect(m_tray, &TrayController::popoverRequested, this, [this] { m_popover->toggle(m_tray->iconGeometry()); });
    connect(m_tray, &TrayController::settingsRequested, this, &TidewatchApp::settingsRequested);
    connect(m_tray, &TrayController::quitRequested, this, &TidewatchApp::quit);
    connect(m_controller, &PopoverController::settingsRequested, this, [this] {
        m_popover->hide();
        Q_EMIT settingsRequested();
    });
    connect(m_controller, &PopoverController::quitRequested, this, &TidewatchApp::quit);
    m_tray->setStatusShapes(m_preferences->statusShapes());
    connect(m_preferences, &Preferences::changed, m_tray, [this] {
        m_tray->setStatusShapes(m_preferences->statusShapes());
    });
}

TidewatchApp::~TidewatchApp()
{
    // Windows go before the engine that made their items.
    delete m_popover;
    m_popover = nullptr;
    delete m_sourceEditor;
    m_sourceEditor = nullptr;
    delete m_settingsWindow;
    m_settingsWindow = nullptr;
    delete m_onboardingWindow;
    m_onboardingWindow = nullptr;
}

QQmlEngine *TidewatchApp::qmlEngine()
{
    if (!m_qmlEngine)
        m_qmlEngine = makeQmlEngine(m_preferences, m_theme);
    return m_qmlEngine.get();
}

std::unique_ptr<QQmlEngine> TidewatchApp::makeQmlEngine(Preferences *preferences, Theme *theme)
{
    auto engine = std::make_unique<QQmlEngine>();
    engine->addImageProvider(u"icon"_s, new IconProvider);
    engine->rootContext()->setContextProperty(u"prefs"_s, preferences);
    engine->rootContext()->setContextProperty(u"theme"_s, theme);
    return engine;
}

void TidewatchApp::start()
{
    m_tray->show();
    const bool testHost = AppState::environmentIsTestHost();
    // After the icon is up: asking NetworkManager and logind costs a few round trips on the bus.
    if (!testHost) {
        m_connectivity = new ConnectivityWatcher(QDBusConnection::systemBus(), true, this);
        connect(m_connectivity, &ConnectivityWatcher::onlineChanged, m_state, &AppState::setNetworkOnline);
        connect(m_connectivity, &ConnectivityWatcher::asleepChanged, m_state, &AppState::setAsleep);
        m_state->setNetworkOnline(m_connectivity->isOnline());
    }
    const bool completed = m_preferences->onboardingCompleted();
    if (opensOnboarding(m_options, testHost, completed))
        Q_EMIT onboardingRequested();
    // Notification permission needs no request here: a notification server on the bus is the answer.
    if (m_options.showSettings)
        QTimer::singleShot(1000, Qt::PreciseTimer, this, &TidewatchApp::settingsRequested);
}

void TidewatchApp::showPopover()
{
    m_popover->show(m_tray->iconGeometry());
}

void TidewatchApp::quit()
{
    if (m_quitting)
        return;
    m_quitting = true;
    m_popover->hide();
    flushAndQuit();
}

void TidewatchApp::flushAndQuit()
{
    // The process stays until the history is written, so the last half minute of samples is kept;
    // a failed write does not stop the quit.
    m_state->flushHistory();
    QCoreApplication::quit();
}

} // namespace tw
