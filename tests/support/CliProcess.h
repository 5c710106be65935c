#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

class QProcess;

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
// Runs a helper program (xdotool, swaymsg, …) for at most ten seconds; true when it exits 0. Its
// standard output goes to `output` when one is given.
bool runTool(const QString &program, const QStringList &arguments, QByteArray *output = nullptr);
CliRun runCli(const QStringList &arguments,
              const QByteArray &input = {},
              const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
              int timeoutMs = 20000);

// The application as a user starts it once past its welcome window, watching `sources`, with its
// data and settings under `home`; on the session's X server when there is one.
bool startApplication(QProcess &app,
                      const QString &home,
                      const QList<AnySourceConfig> &sources,
                      QProcessEnvironment environment = QProcessEnvironment::systemEnvironment());

} // namespace tw::test
