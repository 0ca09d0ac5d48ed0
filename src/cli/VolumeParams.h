#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// A volume as it is typed, as the parameter of a request: "volume", "step" or "stepDb".
Outcome<ControlJSON> readVolumeParams(const std::string& text);

}  // namespace sonmere
