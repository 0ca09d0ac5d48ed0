#pragma once

namespace sonmere {

// What the program's exit status says.
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitFailure = 1,      // something went wrong while running
  kExitBadInput = 2,     // the arguments, or what they name, can't be used; nothing was done
  kExitSignalled = 128,  // plus the signal's number: ended by it, with the files complete
};

}  // namespace sonmere
