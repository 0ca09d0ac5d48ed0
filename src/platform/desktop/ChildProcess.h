#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace sonmere {

// Starts the program in a session of its own, with no open file of ours, and lets go of it: it outlives this
// program and leaves no zombie. 0, or the errno of what failed. Threads: any.
int launchDetached(const std::vector<std::string>& arguments, const std::string& workingFolder);

// What a program that ran to its end left.
struct ChildOutcome {
  int error = 0;          // errno when it could not be started
  int exitStatus = 0;     // as of a shell: 128 + the signal that ended it
  std::string errorText;  // what it wrote to standard error, its start
};

// Runs the program to its end; `started` is told its process. Threads: any that may wait.
ChildOutcome runToEnd(const std::vector<std::string>& arguments, const std::function<void(pid_t)>& started);

// The file that a bare name means, by $PATH; empty when there is none.
std::string findInPath(const std::string& name);

}  // namespace sonmere
