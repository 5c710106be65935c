#pragma once

#include "kit/base/Sleep.h"

#include <QList>
#include <QObject>

namespace tw::test {

// A sleep for engine tests: records every requested delay and holds the sleeper until the test
// releases it (or its stop token fires), so a test steps through loops without real time.
class ManualSleeper : public QObject
{
    Q_OBJECT
public:
    SleepFunction function();

    QList<double> delays() const { return m_delays; }
    int pending() const { return m_pending; }
    // Wakes every sleep that is waiting now.
    void release() { Q_EMIT released(); }
    // Releases sleeps as they come until `count` delays were asked for; false if that took too long.
    bool runUntilDelays(qsizetype count, int timeoutMs = 5000);

Q_SIGNALS:
    void released();

private:
    QCoro::Task<> sleep(double seconds, StopToken stop);

    QList<double> m_delays;
    int m_pending = 0;
};

} // namespace tw::test
