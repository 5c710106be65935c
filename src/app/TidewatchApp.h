#pragma once

#include "kit/desktop/AlertCenter.h"
#include "kit/monitor/AppState.h"

#include <QObject>
#include <QStringList>

#include <memory>

class QQmlEngine;
class QTimer;

namespace tw {

class AlertCenter;
class ConnectivityWatcher;
class FileChooser;
class OnboardingController;
class PopoverController;
class QmlWindow;
class SettingsController;
class Preferences;
class Theme;
class PopoverModel;
class PopoverWindow;
class SourceEditor;
class TrayController;

// The top of the program: one hub, the tray icon, the popover, and a quit that keeps every sample.
// Tidewatch starts with no window; monitoring begins at launch.
class TidewatchApp : public QObject
{
    Q_OBJECT
public:
    // Launch arguments, each counted by its exact presence.
    struct LaunchOptions
    {
        bool showOnboarding = false; // "-uiTestShowOnboarding"
        bool demoSources = false; // "-uiTestDemoSources"
        bool showSettings = false; // "-uiTestShowSettings"
        bool editFirstSource = false; // "-uiTestEditFirstSource": settings opens the first source's sheet

        static LaunchOptions parse(const QStringList &arguments);
        bool operator==(const LaunchOptions &) const = default;
    };

    // Whether the welcome window opens by itself at the first appearance of the tray icon.
    static bool opensOnboarding(const LaunchOptions &options, bool testHost, bool onboardingCompleted);

    TidewatchApp(AppState::Environment environment, LaunchOptions options, QObject *parent = nullptr);
    ~TidewatchApp() override;

    // Shows the tray icon and runs the first-appearance steps.
    void start();
    void showPopover();
    // A notification's "Open" shows the popover at the source's card; "Snooze 1 Hour" snoozes it.
    void takeNotificationAction(AlertCenter::Action action, const QUuid &sourceID);
    // Flushes the history, then ends the event loop. Safe to call more than once.
    void quit();

    AppState &state() { return *m_state; }
    TrayController &tray() { return *m_tray; }
    PopoverWindow &popover() { return *m_popover; }
    Preferences &preferences() { return *m_preferences; }
    // The add/edit sheet, for the settings window and onboarding.
    SourceEditor *sourceEditor() { return m_sourceEditor; }
    SettingsController &settings() { return *m_settings; }
    OnboardingController &onboarding() { return *m_onboarding; }
    QmlWindow &settingsWindow() { return *m_settingsWindow; }
    QmlWindow &onboardingWindow() { return *m_onboardingWindow; }
    // Once no window is showing: drops every window, the QML engine and the heap they left behind,
    // so that the tray program idles as light as before its first window. Windows come back on demand.
    void releaseIdleWindows();
    // The one QML engine of the process, made on first use so an idle tray icon loads no QML.
    QQmlEngine *qmlEngine();
    // An engine that knows the icons, the preferences and the theme, as every window expects.
    static std::unique_ptr<QQmlEngine> makeQmlEngine(Preferences *preferences, Theme *theme);

Q_SIGNALS:
    void onboardingRequested();
    void settingsRequested();

private:
    void flushAndQuit();

    LaunchOptions m_options;
    ConnectivityWatcher *m_connectivity = nullptr;
    Preferences *m_preferences;
    Theme *m_theme;
    std::unique_ptr<QQmlEngine> m_qmlEngine;
    AppState *m_state;
    PopoverModel *m_rows;
    PopoverController *m_controller;
    PopoverWindow *m_popover;
    SourceEditor *m_sourceEditor;
    TrayController *m_tray;
    std::shared_ptr<AlertCenter> m_alerts;
    SettingsController *m_settings;
    OnboardingController *m_onboarding;
    QmlWindow *m_settingsWindow;
    QmlWindow *m_onboardingWindow;
    FileChooser *m_fileChooser;
    bool m_quitting = false;
    bool m_settingsShownBefore = false;
    QTimer *m_idleRelease;
};

} // namespace tw
