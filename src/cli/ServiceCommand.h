#pragma once

#include <string>

namespace sonmere {

// "sonmere service": the program as a service of the user's session. `action` is enable, disable, status or
// log. Needs no running program. Returns the exit status; a log ends the process with its reader's. Main
// thread.
int runService(const std::string& action, bool json);

}  // namespace sonmere
