#pragma once

#include "app/MachineFacts.h"

namespace sonmere {

// This machine and session as they are now. Needs no running program; waits for an audio server that does not
// answer, but not long. Threads: any that may wait.
MachineFacts thisMachine();

}  // namespace sonmere
