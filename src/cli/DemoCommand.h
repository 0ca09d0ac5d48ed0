#pragma once

#include "cli/DemoArguments.h"

namespace sonmere {

// "sonmere demo": runs the demo and prints its report. Returns the exit status. Main thread.
int runDemoCommand(const DemoArguments& arguments, bool verbose);

}  // namespace sonmere
