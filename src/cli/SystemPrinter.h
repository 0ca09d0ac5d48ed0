#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// Devices that are made of others, as text.
std::string dawText(const ControlJSON& daw);
std::string combinedText(const ControlJSON& daw);
// The system's sound, and Mix Mode.
std::string systemText(const ControlJSON& system);
std::string mixText(const ControlJSON& mix);

}  // namespace sonmere
