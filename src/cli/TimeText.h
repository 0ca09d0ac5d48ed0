#pragma once

#include <string>

#include "base/Error.h"
#include "jobs/TimeRange.h"

namespace sonmere {

// Seconds, or minutes and hours before them: "90", "1.5", "1:30", "0:01:30.5". `argument` is how errors name
// it.
Outcome<double> readTime(const std::string& argument, const std::string& text);

// "1:3" is from 1 s to 3 s: one colon between plain numbers. With a dash the ends are times as above:
// "0:01:00-0:02:00", "60-90". "10:" and "1:00-" go to the end, ":10" and "0-1:00" begin at the beginning.
Outcome<TimeRange> readTimeRange(const std::string& argument, const std::string& text);

}  // namespace sonmere
