#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/DemoOptions.h"
#include "base/Error.h"

namespace sonmere {

// The demo's options as they stand on the command line.
struct DemoArguments {
  std::vector<std::string> apps;     // ID=FILE
  std::vector<std::string> routes;   // ID=BUS
  std::vector<std::string> outputs;  // ID=DEVICE[:L/R]
  std::vector<std::string> volumes;  // ID=GAIN
  std::vector<std::string> equalisers;
  std::vector<std::string> limits;
  std::optional<std::string> microphone;  // FILE[:CHANNELS]
  std::vector<std::string> micSends;      // BUS=VOLUME
  std::vector<std::string> monitored;     // SCOPE[=VOLUME]
  std::vector<std::string> plugins;       // SCOPE=URI[,CONTROL=VALUE]
  std::optional<std::string> layout;
  std::optional<std::string> seconds;
  std::optional<std::string> folder;
  std::optional<std::string> depth;
  std::optional<std::string> seed;
  bool hasSystemAudio = false;
  bool isMixed = false;
  bool live = false;
  bool json = false;
};

// The arguments with their meaning. An error names the argument and says what would be right. `notes` are
// for the user: values that were held to their limits.
struct DemoRequest {
  DemoOptions options;
  std::optional<std::uint64_t> seed;
  bool live = false;
  bool json = false;
  std::vector<std::string> notes;
};
Outcome<DemoRequest> parseDemo(const DemoArguments& arguments);

}  // namespace sonmere
