#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// The microphone's state for people.
std::string microphoneText(const ControlJSON& input);
std::string inputsText(const ControlJSON& input);
std::string inputLockText(const ControlJSON& input);

}  // namespace sonmere
