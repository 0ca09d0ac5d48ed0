#pragma once

#include <chrono>
#include <cstdint>

namespace sonmere {

// A span of time, or a point as time since the runtime began (see Runtime::uptime).
using Duration = std::chrono::nanoseconds;

// A point on the wall clock.
using Date = std::chrono::sys_time<std::chrono::nanoseconds>;

constexpr Duration fromSeconds(double seconds) {
  return Duration(std::int64_t(seconds * 1e9 + (seconds < 0 ? -0.5 : 0.5)));
}
constexpr Duration fromMilliseconds(std::int64_t ms) { return std::chrono::milliseconds(ms); }
constexpr double toSeconds(Duration d) { return double(d.count()) / 1e9; }

}  // namespace sonmere
