#pragma once

#include <memory>

#include "audio/device/LoginItem.h"

namespace sonmere {

// Whether this program stays where it is: one in a folder "bin", where packages put it, does; one of a build
// tree may be gone at the next log-in. Threads: any.
bool isInstalledProgram();

// The start of this program with the user's session, also without an audio server. Main thread.
std::unique_ptr<LoginItem> userLoginItem();

}  // namespace sonmere
