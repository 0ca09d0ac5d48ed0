#pragma once

#include <functional>
#include <string>

#include "base/Error.h"

namespace sonmere {

// Runs a shell command line with administrator rights, off the main thread; the result comes on the main
// queue. Its failures: "Operation was cancelled by the user." and "Privileged operation failed: {detail}".
class PrivilegedCommand {
 public:
  virtual ~PrivilegedCommand() = default;
  virtual void run(const std::string& command, std::function<void(Outcome<void>)> completion) = 0;
};

}  // namespace sonmere
