#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/ProgramGreeting.h"

namespace sonmere {

// The program at a glance.
struct ProgramStatus {
  ProgramGreeting program;
  std::string platformReason;
  double uptimeSeconds = 0;
  bool routingEnabled = true;
  bool mixerEnabled = false;
  int apps = 0;  // rows
  int runningApps = 0;
  int routedApps = 0;
  int mixedApps = 0;  // with a tap of the per-app volume
  std::vector<int> runningBuses;
  int recordings = 0;
  std::optional<std::string> routingError;
  std::optional<std::string> mixerError;
  std::string recordingError;  // empty: none
  std::vector<std::string> recordingNotices;
};

}  // namespace sonmere
