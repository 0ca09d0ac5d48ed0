#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// The unit that packages bring for the service manager of the user's session.
inline constexpr const char* kServiceUnit = "sonmere.service";

struct ServiceState {
  bool isEnabled = false;  // starts with the session
  bool isActive = false;   // runs now
};

// Without a service manager both are false. Threads: any that may wait.
ServiceState serviceState();

// From now on and with each session, or neither. The error is what the service manager says, or that there
// is none. Threads: any that may wait.
Outcome<void> setServiceEnabled(bool isOn);

}  // namespace sonmere
