#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"

namespace sonmere {

// One bus that apps route to, with the effects on its sum.
struct BusState {
  int bus = 0;                           // 0 the bridge, 2 to 9 Track 1 to 8
  std::string name;                      // "Bridge", "Track 1"
  std::optional<std::string> givenName;  // what the user called a Track
  bool isRecording = false;
  bool isRunning = false;
  std::vector<std::string> apps;  // identifiers of those that play into it now
  AppEQSettings equaliser;
  MasterLimiterSettings limiter;
  float gainReductionDb = 0;  // what the limiter takes away now
};

// The routing as a whole.
struct RoutingOverview {
  bool isEnabled = true;
  std::vector<std::string> waiting;  // identifiers of apps whose routes wait for them
  std::vector<BusState> buses;
  std::optional<std::string> error;
};

// What became of a change, and what is to be told of it.
struct RoutingChange {
  RoutingOverview routing;
  std::vector<std::string> notes;
};
struct BusChange {
  BusState bus;
  std::vector<std::string> notes;
};

}  // namespace sonmere
