#pragma once

namespace sonmere {

// "sonmere doctor": what of this machine and session is right for the program, what is not, and the command
// that mends it. Needs no running program. The exit status is that of the worst finding. Main thread.
int runDoctor(bool json);

}  // namespace sonmere
