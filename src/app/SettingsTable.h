#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/SettingDescription.h"
#include "base/Error.h"

namespace sonmere {

// Every key that the program reads, those for users first. Threads: any.
const std::vector<SettingDescription>& settingsTable();
// Nothing for a key that the program does not know.
const SettingDescription* describeSetting(std::string_view key);
// The keys that a user may set.
std::vector<std::string> settableKeys();

// Which values a setting takes, in words: "wav or m4a".
std::string rangeText(const SettingDescription& setting);
// When a change takes effect, in words: "at once".
std::string effectText(SettingDescription::Effect effect);

// The domain of what follows.
inline constexpr const char* kSettingsErrorDomain = "Settings";
// Why the user may not set this key: it is unknown (with what was probably meant), or not for users.
Outcome<const SettingDescription*> settableSetting(std::string_view key);
// The value as it is stored: a whole number becomes a number where one is asked for. The error says what the
// setting takes.
Outcome<SettingsValue> checkedSetting(const SettingDescription& setting, SettingsValue value);

}  // namespace sonmere
