#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// For help: what a chain of plug-ins is on.
inline constexpr const char* kScopeForm = "mic, app:ID or bus:BUS";

// A scope as the service takes it: a bus by any of its names, as everywhere, becomes its number. What is none
// is left to the service.
Outcome<std::string> readScope(const std::string& text);

}  // namespace sonmere
