#pragma once

#include <QStringList>

// `tidewatch-cli secret set NAME` (the secret comes from standard input, never from the command
// line, where other users could see it) and `secret delete NAME`.
namespace tw::SecretCommand {

QString synopsis();
int run(const QStringList &arguments);

} // namespace tw::SecretCommand
