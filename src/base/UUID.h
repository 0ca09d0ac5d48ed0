#pragma once

#include <string>

#include "base/Runtime.h"

namespace sonmere {

// A fresh random identifier, "XXXXXXXX-XXXX-4XXX-YXXX-XXXXXXXXXXXX" in upper case.
std::string makeUUID(Runtime& runtime);

// Its first 8 characters, as they stand at the end of the program's own device UIDs.
std::string makeShortUUID(Runtime& runtime);

}  // namespace sonmere
