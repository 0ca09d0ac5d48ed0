#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// What the user hears of what is sent to a recording or a stream, and how loud each is.
struct MixState {
  bool isEnabled = false;
  bool isForbidden = false;       // by the kill switch in the settings
  bool includesCatchAll = false;  // as the user wishes
  bool isCatchAllRunning = false;
  float catchAllVolume = 1;  // linear, 0 to 1
  bool isAuditioning = false;
  bool hearsTracks = false;  // those that other programs feed
  struct Track {
    int track = 1;
    float volume = 1;  // linear, 0 to 1
    bool isMuted = false;
  };
  std::vector<Track> tracks;
  // Routed apps.
  struct App {
    std::string id;
    std::string name;
    float hear = 1;    // linear, on the monitor
    float stream = 1;  // linear, on the bus
    bool isLinked = true;
  };
  std::vector<App> apps;
  int heals = 0;  // of captures that delivered nothing
};

// What became of a change, and what is to be told of it.
struct MixChange {
  MixState mix;
  std::vector<std::string> notes;
};

}  // namespace sonmere
