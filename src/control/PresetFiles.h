#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "control/Preset.h"

namespace sonmere {

// The files of presets: the user's own, by name, and any other, by path.

// Where a name leads; a text with a slash, or with an ending as files have, is a path already.
std::filesystem::path presetFile(const std::string& nameOrPath);
// The error names the file.
Outcome<ReadPreset> openPreset(const std::string& nameOrPath);
// Refused with kPresetExists where there is one, unless it `replaces`.
inline constexpr int kPresetExists = 2;
Outcome<std::filesystem::path> savePreset(const Preset& preset, const std::string& nameOrPath, bool replaces);
// The user's own, by name.
std::vector<std::string> presetNames();

}  // namespace sonmere
