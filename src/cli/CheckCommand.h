#pragma once

#include <QStringList>

// `tidewatch-cli check`: polls every source once, at once, and reports. Usable as a Nagios-style
// check: 0 all up, 1 degraded, 2 something down, 3 nothing known.
namespace tw::CheckCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::CheckCommand
