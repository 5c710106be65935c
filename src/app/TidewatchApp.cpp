#include "TidewatchApp.h"

#include "app/IconProvider.h"
#include "app/PopoverController.h"
#include "app/PopoverModel.h"
#include "app/PopoverWindow.h"
#include "app/Preferences.h"
#include "app/SourceEditor.h"
#include "app/Theme.h"
#include "app/TrayController.h"
#include "kit/monitor/ProviderRegistry.h"

#include <QCoreApplication>
#include <QQmlContext>
#include <QQmlEngine>
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
{
    connect(m_tray, &TrayController::popoverRequested, this, [this] { m_popover->toggle(m_tray->iconGeometry()); });
    connect(m_tray, &TrayController::settingsRequested, this, &TidewatchApp::settingsRequested);
    connect(m_tray, &TrayController::quitRequested, this, &TidewatchApp::quit);
    connect(m_controller, &PopoverController::settingsRequested, this, [this] {
        m_popover->hide();
        Q_EMIT settingsRequested();
    });
    connect(m_controller, &PopoverController::quitRequested, this, &TidewatchApp::quit);
}

TidewatchApp::~TidewatchApp()
{
    // Windows go before the engine that made their items.
    delete m_popover;
    m_popover = nullptr;
    delete m_sourceEditor;
    m_sourceEditor = nullptr;
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
