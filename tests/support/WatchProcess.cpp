#include "WatchProcess.h"

#include "support/CliProcess.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace tw::test {

WatchProcess::WatchProcess(const QString &directory, double timeScale, const QProcessEnvironment &extra)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"TIDEWATCH_CLI_TIME_SCALE"_s, QString::number(timeScale));
    environment.insert(u"XDG_CONFIG_HOME"_s, directory + u"/config"_s);
    environment.insert(extra);
    m_process.setProcessEnvironment(environment);
    m_process.start(cliPath(),
                    {u"watch"_s,
                     u"--verbose"_s,
                     u"--sources"_s,
                     directory + u"/sources.json"_s,
                     u"--credentials"_s,
                     directory + u"/credentials.json"_s});
}

WatchProcess::~WatchProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

QString WatchProcess::waitForLine(const QString &needle, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        while (m_process.canReadLine()) {
            const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
            m_all.append(line);
            if (line.contains(needle))
                return line;
            m_skipped.append(line);
        }
        if (m_process.state() == QProcess::NotRunning)
            break;
        QTest::qWait(5);
    }
    return {};
}

QString WatchProcess::transcript()
{
    return m_all.join(u'\n') + u"\nstderr: "_s + QString::fromUtf8(m_process.readAllStandardError());
}

int WatchProcess::stop(int signal)
{
    ::kill(pid_t(m_process.processId()), signal);
    QElapsedTimer clock;
    clock.start();
    while (m_process.state() != QProcess::NotRunning && clock.elapsed() < 10000)
        QTest::qWait(5);
    if (m_process.state() != QProcess::NotRunning || m_process.exitStatus() != QProcess::NormalExit)
        return -1;
    return m_process.exitCode();
}

} // namespace tw::test
