#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// What the system tells about one process. What can't be read (the process has gone, or belongs to another
// user) is empty.
struct ProcessFact {
  ProcessID pid = 0;
  ProcessID parentPID = 0;
  std::uint64_t startTime = 0;  // clock ticks since boot; with the pid it names a process for good
  std::string exe;              // path of the program
  std::string comm;             // name of the process, at most 15 bytes
  std::vector<std::string> arguments;
  std::string controlGroup;  // its path, as "/user.slice/.../app-gnome-player-412.scope"
  std::string sandboxID;     // application ID of the sandbox that the process lives in
};

// A process and its ancestors: itself first, each followed by its parent, without process 1.
// Empty when nothing is known.
struct ProcessFacts {
  std::vector<ProcessFact> chain;
};

// Reads the facts of a process that may vanish meanwhile; the chain then ends where the trace is lost. A pid
// that was given to a new process in the middle is noticed, and the facts are dropped. Threads: any but a
// render thread.
ProcessFacts readProcessFacts(ProcessID pid, const std::string& procFolder = "/proc");

// The processes of this user, threads of the kernel among them where the user is root.
std::vector<ProcessID> userProcesses(const std::string& procFolder = "/proc");

}  // namespace sonmere
