#pragma once

#include <string>
#include <vector>

#include "app/SettingDescription.h"
#include "base/SettingsStore.h"

namespace sonmere {

// One setting as it is.
struct SettingState {
  std::string key;
  const SettingDescription* description = nullptr;  // nothing for a key that the program does not know
  SettingsValue value;     // what holds: what is stored, else what the description says
  bool isChanged = false;  // something else is stored than holds without it

  bool isStructure() const {
    return !description || description->kind == SettingDescription::Kind::structure;
  }
};

// How much a structure holds: bytes of data, or of its JSON.
std::size_t structureSize(const SettingsValue& value);

// The settings for users, and everything else that is stored. Main thread.
std::vector<SettingState> settingStates(const SettingsStore& settings);
SettingState settingState(const SettingsStore& settings, const std::string& key);

}  // namespace sonmere
