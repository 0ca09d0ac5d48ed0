#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// What a run in the foreground did.
struct RunReport {
  struct App {
    std::string id;
    std::string name;
    bool isRunning = false;
    std::optional<int> bus;  // nothing: not routed
    float volume = 1;        // linear
    bool isMuted = false;
    double addedDelayMs = 0;
    std::int64_t underruns = 0;  // blocks that its route had nothing for
    double leftOutMs = 0;        // of its sound that the audio server left out
  };
  struct Route {
    std::string app;
    std::optional<int> bus;
    bool isArmed = false;  // else the app has not been seen, or could not be routed
  };
  struct Recording {
    int bus = 0;
    std::string path;
    std::int64_t frames = 0;
    double sampleRate = 0;        // Hz
    std::int64_t lostFrames = 0;  // that the file lacks
  };

  std::vector<App> apps;
  std::vector<Route> routes;
  std::vector<Recording> recordings;
  std::vector<std::string> errors;  // for the user, in the order in which they came
};

}  // namespace sonmere
