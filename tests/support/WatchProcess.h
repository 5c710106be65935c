#pragma once

#include <QProcess>
#include <QStringList>

namespace tw::test {

// A running `tidewatch-cli watch --verbose`, read line by line as it prints. Its preferences live
// under the directory, so the user's own switches stay out; `environment` adds to the process's.
class WatchProcess
{
public:
    WatchProcess(const QString &directory, double timeScale, const QProcessEnvironment &extra = {});
    ~WatchProcess();

    // The next line that contains `needle`, or nothing once the time is up; the lines passed over
    // are kept in takeSkipped().
    QString waitForLine(const QString &needle, int timeoutMs = 10000);
    QStringList takeSkipped() { return std::exchange(m_skipped, {}); }
    // Every line read so far, then the standard error.
    QString transcript();
    // Sends `signal` and waits; the exit code, or -1 when it did not end normally in time.
    int stop(int signal);

    QProcess &process() { return m_process; }

private:
    QProcess m_process;
    QStringList m_skipped;
    QStringList m_all;
};

} // namespace tw::test
