#pragma once

namespace sonmere {

// The program: parses the arguments, runs the command, and returns the exit status. Nothing is thrown, and
// output that could not be written is a failure. Main thread.
int runCommandLine(int argc, const char* const* argv);

}  // namespace sonmere
