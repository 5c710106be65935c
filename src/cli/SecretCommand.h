#pragma once

#include <QStringList>

// `tidewatch-cli secret set NAME` and `secret delete NAME`: the secrets that sources name, in the
// desktop's credential store. A secret is read from standard input only, never from the command
// line, where other users could read it in the process list.
namespace tw::SecretCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::SecretCommand
