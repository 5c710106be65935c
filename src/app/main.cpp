#include "app/ProductionEnvironment.h"
#include "app/SingleInstance.h"
#include "app/TidewatchApp.h"
#include "app/TrayController.h"
#include "kit/desktop/SourcesService.h"
#include "kit/desktop/UnixSignalWatcher.h"

#include <QApplication>
#include <QDBusConnection>
#include <QQuickWindow>

#include <csignal>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    // The popover is a small 2D card: the software scene graph draws it alike and costs about 100 MiB
    // less than a GL context would, in a program that sits in the tray all day.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    QApplication::setOrganizationName(u"Tidewatch"_s);
    QApplication::setApplicationName(u"Tidewatch"_s);
    QApplication::setApplicationVersion(QStringLiteral(TW_VERSION));
    QApplication::setDesktopFileName(u"dev.ostrel.Tidewatch"_s);
    // A tray program: closing a window never ends it; only Quit does.
    QApplication::setQuitOnLastWindowClosed(false);

    tw::SingleInstance instance(QDBusConnection::sessionBus());
    const tw::SingleInstance::Outcome claimed = instance.claim();
    if (claimed == tw::SingleInstance::Outcome::Forwarded)
        return 0;

    const auto alerts = std::make_shared<tw::AlertCenter>();
    tw::TidewatchApp tidewatch(tw::ProductionEnvironment::make(alerts),
                               tw::TidewatchApp::LaunchOptions::parse(QApplication::arguments()));
    // Without a notification server, the tray icon's own balloon tells of the alert.
    alerts->setFallback(
        [&tidewatch](const QString &title, const QString &body) { tidewatch.tray().showMessage(title, body); });
    QObject::connect(&instance, &tw::SingleInstance::showRequested, &tidewatch, &tw::TidewatchApp::showPopover);
    QObject::connect(alerts.get(),
                     &tw::AlertCenter::actionInvoked,
                     &tidewatch,
                     [&tidewatch](tw::AlertCenter::Action action, const QUuid &sourceID) {
                         tidewatch.takeNotificationAction(action, sourceID);
                     });
    // The command line changes the sources through this process while it runs, never behind it.
    tw::SourcesService sources(&tidewatch.state());
    if (claimed == tw::SingleInstance::Outcome::Primary)
        sources.exportOn(QDBusConnection::sessionBus());

    // A session that logs out sends SIGTERM; the history is written before the process goes.
    tw::UnixSignalWatcher signalWatcher({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&signalWatcher, &tw::UnixSignalWatcher::received, &tidewatch, &tw::TidewatchApp::quit);

    tidewatch.start();
    return QApplication::exec();
}
