#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/Meters.h"
#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"

namespace sonmere {

// The device that an app is to play on instead of on its bus.
struct AppOutputState {
  std::string device;  // UID
  std::string name;    // the UID, while the device is away
  int left = 1;        // channels, from 1 on
  int right = 2;
  bool isPlaying = false;  // it does: else its bus has it

  bool operator==(const AppOutputState&) const = default;
};

// One app as it is shown and controlled.
struct AppState {
  std::string id;
  std::string name;
  bool isRunning = false;
  bool isHidden = false;
  bool isPinned = false;
  std::string control;  // who decides on its sound: "none", "mixer", "routed", "hidden", "direct", "driver"
  std::optional<int> bus;  // nothing: not routed
  std::optional<AppOutputState> output;
  bool isRouteWaiting = false;  // it is routed there when it plays again
  float volume = 1;             // linear; that of its route, else that of the mixer
  bool isMuted = false;
  AppMeters meters;
  AppEQSettings equaliser;
  AppLimiterSettings limiter;
  std::vector<std::string> hints;  // what the user is to be told of it
};

// What became of a change: the app afterwards, and what is to be told of it, as a value that was held to its
// limit.
struct AppChange {
  AppState app;
  std::vector<std::string> notes;
};

}  // namespace sonmere
