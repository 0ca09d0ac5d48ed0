#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// Plug-ins and chains as people read them.
std::string offersText(const ControlJSON& offers);
std::string pluginInfoText(const ControlJSON& info);
std::string chainText(const ControlJSON& chain);
std::string chainsText(const ControlJSON& overview);
// What a control takes: "-90 to 24 dB".
std::string controlRange(const ControlJSON& control);

}  // namespace sonmere
