#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// The folder of the files that come with the program: $SONMERE_RESOURCES, else beside the program as built or
// as installed. The error says where it was looked for.
Outcome<std::string> resourceFolder();

}  // namespace sonmere
