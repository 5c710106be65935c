#pragma once

#include "kit/base/StopSource.h"

#include <QCoroTask>

#include <functional>

namespace tw {

// An injectable wait: returns after `seconds` on a monotonic clock, or at once when `stop` fires.
// It never throws.
using SleepFunction = std::function<QCoro::Task<>(double seconds, StopToken stop)>;

namespace Sleep {

// The production wait, on a precise timer (a coarse one may end up to 5 % early).
QCoro::Task<> cancellable(double seconds, StopToken stop);

} // namespace Sleep

} // namespace tw
