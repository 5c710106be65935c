#include "CliProcess.h"

#include "kit/model/SourcesStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

namespace tw::test {

bool runTool(const QString &program, const QStringList &arguments, QByteArray *output)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

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

bool startApplication(QProcess &app,
                      const QString &home,
                      const QList<AnySourceConfig> &sources,
                      QProcessEnvironment environment)
{
    SourcesStore::save(sources, home + QStringLiteral("/data/Tidewatch"));
    QFile settings(home + QStringLiteral("/config/Tidewatch/Tidewatch.conf"));
    if (!QDir().mkpath(home + QStringLiteral("/config/Tidewatch")) || !settings.open(QIODevice::WriteOnly)
        || settings.write("[General]\nonboardingCompleted=true\n") < 0)
        return false;
    settings.close();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/data"));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"),
                       qEnvironmentVariableIsSet("DISPLAY") ? QStringLiteral("xcb") : QStringLiteral("offscreen"));
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    app.start(QStringLiteral(TW_BINARY_DIR "/src/app/tidewatch"), {});
    return app.waitForStarted();
}

} // namespace tw::test
