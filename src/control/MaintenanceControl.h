#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/SettingsPart.h"
#include "app/SettingsReplacement.h"
#include "app/ToneFerryApp.h"

namespace sonmere {

// The settings as a whole. What replaces them is done between this run of the program and the next, which
// follows at once: engines hold what they have read. Main thread.
class MaintenanceControl {
 public:
  // `restart` ends the run and begins the next.
  MaintenanceControl(ToneFerryApp& app, std::function<void()> restart)
      : app_(app), restart_(std::move(restart)) {}

  std::string exportSettings() const;
  // Answers what was left out. Refused while a recording runs, and with a value that can't be.
  Outcome<std::vector<std::string>> importSettings(const std::string& text);
  Outcome<void> reset(SettingsPart part);

 private:
  Outcome<void> replace(const SettingsReplacement& replacement);

  ToneFerryApp& app_;
  const std::function<void()> restart_;
};

}  // namespace sonmere
