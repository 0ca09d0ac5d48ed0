#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// Members of what a service answered, which may be of another version: what is missing or of another kind
// is false, empty or 0.
bool flag(const ControlJSON& object, const char* name);
// As a terminal may have it.
std::string textOf(const ControlJSON& object, const char* name);
double number(const ControlJSON& object, const char* name);

}  // namespace sonmere
