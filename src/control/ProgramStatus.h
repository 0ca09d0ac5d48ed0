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
  bool micEnabled = false;  // as the user wishes
  bool micRunning = false;
  std::optional<std::string> micDevice;  // the name of the one in use
  int additionalInputs = 0;
  std::optional<std::string> micError;
  int pluginChains = 0;  // that hold anything
  int plugins = 0;       // in all of them
  std::optional<std::string> pluginError;
};

}  // namespace sonmere
