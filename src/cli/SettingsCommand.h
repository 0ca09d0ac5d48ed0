#pragma once

#include <string>

namespace sonmere {

// How a value is stored.
struct SettingsForm {
  bool isData = false;    // its text as data
  bool isForced = false;  // whatever the table of settings says
};

// "sonmere settings ...": reads and changes the user's settings, through the program that runs with them,
// else in their file. Each returns the exit status.
int runSettingsGet(const std::string& key);
// The value is a switch in words, JSON, or else a string as it stands.
int runSettingsSet(const std::string& key, const std::string& text, SettingsForm form);
int runSettingsReset(const std::string& key);
int runSettingsList(bool json);

}  // namespace sonmere
