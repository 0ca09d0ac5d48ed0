#pragma once

#include <string>

#include "cli/BusText.h"
#include "control/RuleState.h"

namespace sonmere {

// Rules as they are typed. Errors name what was expected.

inline constexpr const char* kReasonForm = "app=ID, device=NAME or mic=on";
inline constexpr const char* kActForm =
    "\"profile apply NAME\", \"route ID BUS|off\", \"volume ID VOLUME\" or \"mute ID on|off\"";

Outcome<RuleReason> readReason(const std::string& text);
// Quotes hold words together.
Outcome<RuleAct> readAct(const std::string& text, const TrackNamesSource& names);

}  // namespace sonmere
