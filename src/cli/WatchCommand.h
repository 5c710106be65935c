#pragma once

#include <QStringList>

// `tidewatch-cli watch`: monitors like the application does, on a box without a tray. One line per
// alert event (and per poll with --verbose), desktop notifications with --notify, and a clean stop
// that writes the history on SIGINT and SIGTERM.
namespace tw::WatchCommand {

QString synopsis();
int run(const QStringList &arguments);

// Test runs shrink every wait (poll intervals, back-off, the history's write window) by this factor.
constexpr auto timeScaleVariable = "TIDEWATCH_CLI_TIME_SCALE";

} // namespace tw::WatchCommand
