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
#include "app/ViewEngine.h"
#include "kit/desktop/AlertCenter.h"
#include "kit/desktop/ConnectivityWatcher.h"
#include "kit/desktop/SecretServiceStatus.h"
#include "kit/monitor/ProviderRegistry.h"
#include "kit/transport/BoundedHTTPClient.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QQmlEngine>
#include <QQuickView>
#include <QTimer>

#include <malloc.h>
#include <sys/mman.h>

using namespace Qt::StringLiterals;

void qml_register_types_Tidewatch();

namespace tw {

TidewatchApp::LaunchOptions TidewatchApp::LaunchOptions::parse(const QStringList &arguments)
{
    return {arguments.contains(u"-uiTestShowOnboarding"_s),
            arguments.contains(u"-uiTestDemoSources"_s),
            arguments.contains(u"-uiTestShowSettings"_s),
            arguments.contains(u"-uiTestEditFirstSource"_s)};
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
    , m_rows(new PopoverModel(m_state, m_preferences, this))
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
    , m_idleRelease(new QTimer(this))
{
    // A popover closed and opened again at once keeps its window; one left closed gives it up.
    m_idleRelease->setSingleShot(true);
    m_idleRelease->setInterval(std::chrono::seconds(3));
    connect(m_idleRelease, &QTimer::timeout, this, &TidewatchApp::releaseIdleWindows);
    connect(m_popover, &PopoverWindow::hidden, m_idleRelease, qOverload<>(&QTimer::start));
    m_rows->setShown(false);
    connect(m_popover, &PopoverWindow::hidden, m_rows, [this] { m_rows->setShown(false); });
    connect(m_sourceEditor, &SourceEditor::closed, m_idleRelease, qOverload<>(&QTimer::start));
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
    m_settings->setKeyringStatus([]() -> QCoro::Task<SecretServiceStatus::State> {
        SecretServiceStatus status;
        co_return co_await status.read();
    });
    m_onboarding = new OnboardingController(m_state, m_preferences, authorization, this);
    const auto engine = [this] {
        return qmlEngine();
    };
    m_settingsWindow = new QmlWindow({QUrl(u"qrc:/Tidewatch/Settings.qml"_s),
                                      u"Tidewatch Settings"_s,
                                      QSize(480, 540),
                                      {{u"settings"_s, QVariant::fromValue<QObject *>(m_settings)}}},
                                     engine,
                                     this);
    m_onboardingWindow = new QmlWindow({QUrl(u"qrc:/Tidewatch/Onboarding.qml"_s),
                                        u"Welcome to Tidewatch"_s,
                                        QSize(520, 560),
                                        {{u"onboarding"_s, QVariant::fromValue<QObject *>(m_onboarding)}}},
                                       engine,
                                       this);
    connect(this, &TidewatchApp::settingsRequested, m_settingsWindow, &QmlWindow::show);
    connect(this, &TidewatchApp::onboardingRequested, m_onboardingWindow, &QmlWindow::show);
    // What the desktop says of notifications may change while the window is away: it is read again
    // each time the window comes back, whether shown anew or brought to the front.
    connect(m_settingsWindow, &QmlWindow::shown, m_settings, &SettingsController::refresh);
    connect(m_settingsWindow, &QmlWindow::activated, m_settings, &SettingsController::refresh);
    connect(m_settingsWindow, &QmlWindow::shown, this, [this] {
        if (std::exchange(m_settingsShownBefore, true) || !m_options.editFirstSource || m_state->sources().isEmpty())
            return;
        m_sourceEditor->edit(m_state->sources().first().id(), m_settingsWindow->view());
    });
    connect(m_onboardingWindow, &QmlWindow::shown, m_onboarding, &OnboardingController::opened);
    connect(m_onboardingWindow, &QmlWindow::hidden, m_onboarding, &OnboardingController::closed);
    connect(m_onboardingWindow, &QmlWindow::hidden, m_idleRelease, qOverload<>(&QTimer::start));
    connect(m_settingsWindow, &QmlWindow::hidden, m_idleRelease, qOverload<>(&QTimer::start));
    connect(m_settings, &SettingsController::onboardingRequested, this, &TidewatchApp::onboardingRequested);
    // The sheet opens over the window that asked for it.
    connect(m_settings, &SettingsController::addSourceRequested, this, [this] {
        m_sourceEditor->add(m_settingsWindow->view());
    });
    connect(m_settings, &SettingsController::editSourceRequested, this, [this](const QString &sourceId) {
        m_sourceEditor->edit(QUuid::fromString(sourceId), m_settingsWindow->view());
    });
    connect(m_onboarding, &OnboardingController::addSourceRequested, this, [this] {
        m_sourceEditor->add(m_onboardingWindow->view());
    });
    connect(m_tray, &TrayController::popoverRequested, this, [this] {
        if (!m_popover->isVisible())
            m_rows->setShown(true);
        m_popover->toggle(m_tray->iconGeometry());
    });
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

void TidewatchApp::releaseIdleWindows()
{
    if (m_popover->isVisible() || m_sourceEditor->isVisible() || m_settingsWindow->isVisible()
        || m_onboardingWindow->isVisible())
        return;
    m_popover->release();
    m_sourceEditor->release();
    m_settingsWindow->release();
    m_onboardingWindow->release();
    m_qmlEngine.reset();
    // What the scene graph and the QML heap freed goes back to the system rather than waiting in
    // the allocator's free lists for the next window.
    ::malloc_trim(0);
    // The code a window ran (Qt Quick, QML, text shaping, fonts, images) and the fonts it read stay
    // mapped once loaded, resident until the kernel needs the room. They are handed back now: the
    // pages come again from the page cache at the next window, and what the polls use between
    // windows comes back at the next poll.
    QFile maps(u"/proc/self/maps"_s);
    if (!maps.open(QIODevice::ReadOnly))
        return;
    for (const QByteArray &line : maps.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (!fields.value(5).startsWith('/'))
            continue; // the heap, the stacks and other memory without a file behind it
        const QList<QByteArray> range = fields.value(0).split('-');
        bool startOk = false;
        bool endOk = false;
        const quintptr start = range.value(0).toULongLong(&startOk, 16);
        const quintptr end = range.value(1).toULongLong(&endOk, 16);
        // Only what was never written: paging out leaves every byte as it is, so this is safe.
        if (startOk && endOk && end > start && !fields.value(1).contains('w'))
            ::madvise(reinterpret_cast<void *>(start), end - start, MADV_PAGEOUT);
    }
}

QQmlEngine *TidewatchApp::qmlEngine()
{
    if (!m_qmlEngine)
        m_qmlEngine = makeQmlEngine(m_preferences, m_theme);
    return m_qmlEngine.get();
}

std::unique_ptr<QQmlEngine> TidewatchApp::makeQmlEngine(Preferences *preferences, Theme *theme)
{
    // The module's types are registered by a static initialiser in a file of tw_app that nothing else
    // refers to; taking its address here keeps the linker from leaving that file out.
    volatile auto registration = &qml_register_types_Tidewatch;
    Q_UNUSED(registration);
    auto engine = std::make_unique<ViewEngine>(preferences, theme);
    engine->addImageProvider(u"icon"_s, new IconProvider);
    // Where `import Tidewatch` finds the module's qmldir; Qt 6.4 does not look under qrc:/ itself.
    engine->addImportPath(u"qrc:/"_s);
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
    m_rows->setShown(true);
    m_popover->show(m_tray->iconGeometry());
}

void TidewatchApp::takeNotificationAction(AlertCenter::Action action, const QUuid &sourceID)
{
    switch (action) {
    case AlertCenter::Action::Open:
        showPopover();
        m_controller->reveal(sourceID);
        break;
    case AlertCenter::Action::Snooze:
        m_state->snoozeSource(sourceID, 3600);
        break;
    }
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
