#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Has the desktop begin a mail with the file attached, by xdg-email; the user's own program sends it, or the
// user doesn't. `address` may be empty. Threads: any that may wait.
Outcome<void> composeFeedback(const std::string& file, const std::string& address);

}  // namespace sonmere
