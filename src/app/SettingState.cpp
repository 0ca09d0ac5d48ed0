#include "app/SettingState.h"

#include <algorithm>

#include "app/SettingsTable.h"

namespace sonmere {

SettingState settingState(const SettingsStore& settings, const std::string& key) {
  SettingState state{key, describeSetting(key), {}, false};
  if (state.description) state.value = state.description->fallback;
  const auto stored = settings.object(key);
  if (!stored) return state;
  // What can't be used counts as absent, as it does for whoever reads it.
  const auto used = state.description ? checkedSetting(*state.description, *stored) : *stored;
  state.isChanged = used && *used != state.value;
  if (used) state.value = *used;
  return state;
}

std::size_t structureSize(const SettingsValue& value) {
  const auto* data = value.as<SettingsData>();
  return data ? data->bytes.size() : settingsValueToJSON(value).size();
}

std::vector<SettingState> settingStates(const SettingsStore& settings) {
  std::vector<SettingState> all;
  const auto known = settableKeys();
  for (const std::string& key : known) all.push_back(settingState(settings, key));
  for (const std::string& key : settings.keys())
    if (std::ranges::find(known, key) == known.end()) all.push_back(settingState(settings, key));
  return all;
}

}  // namespace sonmere
