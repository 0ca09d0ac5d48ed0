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
    std::string output;      // the name of the device that it plays on instead; empty: none
    float peakLevelDb = 0;   // highest meter value, dB full scale rms
    float volume = 1;        // linear
    double addedDelayMs = 0;
    std::int64_t underruns = 0;
  };
  struct File {
    int source = 0;  // a bus, or what RecordedSource.h names
    std::string path;
    std::string format;  // "wav"
    std::string bitDepth;
    std::int64_t frames = 0;
    double sampleRate = 0;  // Hz
    float peak = 0;         // linear
  };

  // What a physical device played on two of its channels.
  struct Heard {
    std::string device;  // UID
    std::string name;
    int left = 1;  // from 1 on
    int right = 2;
    File file;
  };

  std::vector<App> apps;
  std::vector<File> files;
  std::vector<Heard> heard;
  std::optional<std::string> problem;  // what went wrong first; the rest of the report holds all the same
  std::string latency;                 // the report of the latency probe
};

}  // namespace sonmere
