#pragma once

namespace sonmere {

// What the program's exit status says.
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitFailure = 1,      // something went wrong while running
  kExitBadInput = 2,     // the arguments, or what they name, can't be used; nothing was done
  kExitDegraded = 3,     // what was asked about works in part
  kExitBroken = 4,       // what was asked about does not work
  kExitSignalled = 128,  // plus the signal's number: ended by it, with the files complete
};

// Ends the process now, without destroying anything: with the status, a failure when standard output could
// not be written, or by the signal that the status stands for.
[[noreturn]] void endAtOnce(int status);
// Ends the process by the signal where the status stands for one, so that a shell's loop ends too; else
// returns it.
int endBySignalOrReturn(int status);

}  // namespace sonmere
