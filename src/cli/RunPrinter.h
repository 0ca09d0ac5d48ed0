#pragma once

#include "app/PlatformChoice.h"
#include "app/RunReport.h"

namespace sonmere {

// What a run in the foreground tells on standard output: that it is ready, and at its end what it did, for
// people and for programs.
void printRunReady(const PlatformChoice& platform, const RunReport& report);
void printRunTable(const RunReport& report);
void printRunJSON(const PlatformChoice& platform, const RunReport& report);

}  // namespace sonmere
