#include "PollInterval.h"

#include <algorithm>
#include <cmath>

namespace tw::PollInterval {

double clamp(double seconds)
{
    if (!std::isfinite(seconds))
        return defaultSeconds;
    return std::clamp(seconds, minimum, maximum);
}

} // namespace tw::PollInterval
