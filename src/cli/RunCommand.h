#pragma once

#include "cli/RunArguments.h"

namespace sonmere {

// "sonmere run": the application in the foreground, without a window. Returns the exit status. Main thread.
int runRunCommand(const RunArguments& arguments);

}  // namespace sonmere
