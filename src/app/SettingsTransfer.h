#pragma once

#include <string>
#include <vector>

#include "app/SettingsFile.h"
#include "base/SettingsStore.h"

namespace sonmere {

// Settings as one file that goes to another machine, or is kept: JSON with `format` and `settings`.

// Those that hold on another machine too, plug-in chains included.
std::string exportSettings(const SettingsStore& settings);

struct ImportedSettings {
  SettingsFile::Values values;
  std::vector<std::string> notes;  // what was left out
};
// From what exportSettings wrote, or from a settings file as it lies on the disk. The error names the first
// value that can't be; nothing of such a file is to be taken.
Outcome<ImportedSettings> importSettings(const std::string& text);

}  // namespace sonmere
