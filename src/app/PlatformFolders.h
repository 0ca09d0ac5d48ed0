#pragma once

#include <string>

#include "audio/device/EngineContext.h"

namespace sonmere {

// Where this user's files are. Threads: any.
Folders userFolders();
// Where the control service's files are: "sonmere" in the folder of the user's session, or where there is
// none, in the folder of the program's state.
std::string userControlFolder();

}  // namespace sonmere
