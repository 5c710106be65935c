#include "ManualSleeper.h"

#include "kit/base/Wakeup.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTest>

namespace tw::test {

SleepFunction ManualSleeper::function()
{
    return [this](double seconds, StopToken stop) {
        return sleep(seconds, std::move(stop));
    };
}

QCoro::Task<> ManualSleeper::sleep(double seconds, StopToken stop)
{
    m_delays.append(seconds);
    if (stop->isStopped())
        co_return;
    ++m_pending;
    QPointer<ManualSleeper> self(this); // a stopped sleep may resume after the test dropped its sleeper
    {
        Wakeup wakeup(std::chrono::hours(1));
        wakeup.on(this, &ManualSleeper::released, 0).on(stop.get(), &StopSource::stopped, 1);
        co_await wakeup;
    }
    if (self)
        --self->m_pending;
}

bool ManualSleeper::runUntilDelays(qsizetype count, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (m_delays.size() < count) {
        if (timer.elapsed() > timeoutMs)
            return false;
        if (m_pending > 0)
            release();
        QTest::qWait(1);
    }
    return true;
}

} // namespace tw::test
