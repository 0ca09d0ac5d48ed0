#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "editor/export/Loudness.h"

namespace sonmere {

// "-14.2 LUFS, range 5.1 LU, true peak -1.0 dBTP, sample peak -1.3 dBFS".
std::string loudnessText(const Loudness& loudness);
// Levels of silence are null, and so is the loudness of what is too short to have one.
nlohmann::ordered_json loudnessJSON(const Loudness& loudness);

}  // namespace sonmere
