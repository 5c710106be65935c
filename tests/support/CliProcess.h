#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

namespace tw::test {

// The command-line program as a user runs it, while the test's own event loop keeps serving any
// local peers the command talks to.
struct CliRun
{
    int exitCode = -1; // -2: crashed, -3: timed out and killed
    QByteArray out;
    QByteArray err;
};

QString cliPath();
CliRun runCli(const QStringList &arguments,
              const QByteArray &input = {},
              const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
              int timeoutMs = 20000);

} // namespace tw::test
