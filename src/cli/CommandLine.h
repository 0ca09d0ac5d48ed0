#pragma once

namespace sonmere {

// The program: parses the arguments, runs the command, and returns the exit status. Main thread.
int runCommandLine(int argc, const char* const* argv);

}  // namespace sonmere
