#include "CliProcess.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

namespace tw::test {

QString cliPath()
{
    return QStringLiteral(TW_BINARY_DIR "/src/cli/tidewatch-cli");
}

CliRun
runCli(const QStringList &arguments, const QByteArray &input, const QProcessEnvironment &environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(cliPath(), arguments);
    CliRun run;
    if (!process.waitForStarted())
        return run;
    process.write(input);
    process.closeWriteChannel();
    QElapsedTimer clock;
    clock.start();
    while (process.state() != QProcess::NotRunning && clock.elapsed() < timeoutMs)
        QTest::qWait(5);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        run.exitCode = -3;
    } else {
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

} // namespace tw::test
