#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// What the demo heard and wrote.
struct DemoReport {
  struct App {
    std::string id;
    std::optional<int> bus;  // nothing: not routed
    float peakLevelDb = 0;   // highest meter value, dB full scale rms
    float volume = 1;        // linear
    double addedDelayMs = 0;
    std::int64_t underruns = 0;
  };
  struct File {
    int bus = 0;
    std::string path;
    std::string format;  // "wav"
    std::string bitDepth;
    std::int64_t frames = 0;
    double sampleRate = 0;  // Hz
    float peak = 0;         // linear
  };

  std::vector<App> apps;
  std::vector<File> files;
  std::optional<File> heard;           // what the speakers played
  std::optional<std::string> problem;  // what went wrong first; the rest of the report holds all the same
  std::string latency;                 // the report of the latency probe
};

}  // namespace sonmere
