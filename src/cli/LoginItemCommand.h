#pragma once

#include <string>

namespace sonmere {

// "sonmere login-item": whether the program starts with the user's session. `action` is on, off or status.
// Needs no running program. Returns the exit status. Main thread.
int runLoginItem(const std::string& action, bool json);

}  // namespace sonmere
