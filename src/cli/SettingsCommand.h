#pragma once

#include <string>

namespace sonmere {

// "sonmere settings ...": reads and changes the user's settings file. Each returns the exit status.
int runSettingsGet(const std::string& key);
// The value is JSON, or else a string as it stands; with `asData` its text is stored as data.
int runSettingsSet(const std::string& key, const std::string& value, bool asData);
int runSettingsDelete(const std::string& key);
int runSettingsList(bool json);

}  // namespace sonmere
