#pragma once

#include <optional>

#include "control/ControlClient.h"

namespace sonmere {

// The program that runs, when it has the settings that this command is for. Main thread.
std::optional<ControlClient> programWithTheseSettings();

}  // namespace sonmere
