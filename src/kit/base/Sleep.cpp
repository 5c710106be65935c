#include "Sleep.h"

#include "kit/base/Wakeup.h"

#include <cmath>

namespace tw::Sleep {

QCoro::Task<> cancellable(double seconds, StopToken stop)
{
    if (stop->isStopped())
        co_return;
    const double ms = std::isfinite(seconds) ? std::max(0.0, seconds * 1000.0) : 0.0;
    // QTimer takes an int of milliseconds; no wait of ours is anywhere near 24 days.
    Wakeup wakeup(std::chrono::milliseconds(static_cast<qint64>(std::min(ms, 2.0e9))));
    wakeup.on(stop.get(), &StopSource::stopped, 1);
    co_await wakeup;
}

} // namespace tw::Sleep
