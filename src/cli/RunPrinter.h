#pragma once

#include <string>

#include "app/PlatformChoice.h"
#include "app/RunReport.h"

namespace sonmere {

// What a run in the foreground tells on standard output: that it waits, that it is ready, and at its end what
// it did, for people and for programs. Whole lines, but for the first, which goes to standard error.
std::string runWaitingText(const PlatformChoice& platform);
std::string runReadyText(const PlatformChoice& platform, const RunReport& report);
std::string runTableText(const RunReport& report);
std::string runJSONText(const PlatformChoice& platform, const RunReport& report);

}  // namespace sonmere
