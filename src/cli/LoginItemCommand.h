#pragma once

#include <string>

#include "audio/device/LoginItem.h"

namespace sonmere {

// "sonmere login-item": whether the program starts with the user's session. `action` is on, off or status.
// Needs no running program. Returns the exit status. Main thread.
int runLoginItem(const std::string& action, bool json);

// Switches it, and keeps that the user has done so.
Outcome<void> switchLoginItem(LoginItem& item, bool isOn);

}  // namespace sonmere
