#pragma once

#include <QStringList>

// `tidewatch-cli watch`: monitors like the application does, without a tray: the same poll engine,
// latency history and alert evaluator, one line per alert event, and desktop notifications on
// request. Runs until SIGINT or SIGTERM, then writes the history and exits with 0.
namespace tw::WatchCommand {

QString synopsis();
int run(const QStringList &arguments);

// Test runs shrink every wait (poll intervals, back-off, the history's write window) by this factor.
constexpr auto timeScaleVariable = "TIDEWATCH_CLI_TIME_SCALE";

} // namespace tw::WatchCommand
