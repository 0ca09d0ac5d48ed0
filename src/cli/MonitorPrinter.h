#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// The monitor as a text for people: where it plays, and what of.
std::string monitorText(const ControlJSON& monitor);

}  // namespace sonmere
