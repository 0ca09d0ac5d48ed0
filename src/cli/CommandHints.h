#pragma once

#include <string>

#include "base/Error.h"
#include "control/ControlMessage.h"

namespace sonmere {

// What the program that runs says names no command, since it knows no client. These add the one that helps.

std::string withCommand(const std::string& note);
// `params` are those of the request that was refused.
std::string withCommand(const Error& error, const ControlJSON& params);

}  // namespace sonmere
