#pragma once

#include <string>
#include <vector>

#include "app/SettingState.h"
#include "app/ToneFerryApp.h"

namespace sonmere {

// What became of a change of a setting, and what is to be told of it.
struct SettingChange {
  SettingState setting;
  std::vector<std::string> notes;
};

// The user's settings in the program that runs: a change takes effect as the table of settings says. Main
// thread.
class SettingsControl {
 public:
  explicit SettingsControl(ToneFerryApp& app) : app_(app) {}

  // Those for users, and everything else that is stored.
  std::vector<SettingState> list() const;
  // The error says that there is no such setting, and none stored under the key.
  Outcome<SettingState> get(const std::string& key) const;
  // `force` stores a value that the table refuses; it is read at the next start.
  Outcome<SettingChange> set(const std::string& key, const SettingsValue& value, bool force);
  // Its default from now on. Refused for structures, which their owners hold.
  Outcome<SettingChange> reset(const std::string& key);

 private:
  SettingsStore& settings() const { return app_.context().settings; }
  Outcome<void> apply(const std::string& key, const SettingsValue& value, std::vector<std::string>& notes);
  Outcome<void> applySwitch(const std::string& key, bool on);
  Outcome<void> chooseFolder(const std::string& folder, std::vector<std::string>& notes);

  ToneFerryApp& app_;
};

}  // namespace sonmere
