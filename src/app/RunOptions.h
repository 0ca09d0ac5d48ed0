#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// What a run in the foreground is to set up, besides what the settings say. Apps are named by identifier or
// name, in full.
struct RunOptions {
  struct Route {
    std::string app;
    std::optional<int> bus;  // nothing: not routed
  };
  struct Volume {
    std::string app;
    float gain = 1;  // linear
  };

  bool demoApps = false;
  std::vector<Route> routes;
  std::vector<Volume> volumes;
  std::vector<int> recordedBuses;
  std::optional<double> seconds;  // from the moment it is ready; nothing: until told to end
};

}  // namespace sonmere
