#pragma once

// Bounds of a source's poll interval, in seconds. Files keep whatever number the user wrote;
// the bounds apply where the interval is used.
namespace tw::PollInterval {

constexpr double minimum = 5;
constexpr double maximum = 3600;
constexpr double defaultSeconds = 60;
constexpr double beszelDefault = 30;

// NaN and infinities give the default; anything else is held to [minimum, maximum].
double clamp(double seconds);

} // namespace tw::PollInterval
