#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/PlatformChoice.h"
#include "app/RunOptions.h"
#include "base/Error.h"
#include "cli/BusText.h"

namespace sonmere {

// The options of a run in the foreground as they stand on the command line.
struct RunArguments {
  std::optional<std::string> platform;
  bool demoApps = false;
  std::vector<std::string> routes;   // ID=BUS
  std::vector<std::string> volumes;  // ID=VOLUME
  std::vector<std::string> records;  // BUS
  std::optional<std::string> folder;
  std::optional<std::string> seconds;
  bool noControl = false;
  bool atLogin = false;
  bool json = false;
  bool verbose = false;
};

// The arguments with their meaning. An error names the argument and says what would be right. `notes` are for
// the user: values that were held to their limits.
struct RunRequest {
  PlatformWish platform = PlatformWish::automatic;
  RunOptions options;
  std::optional<std::string> folder;  // of the recordings; nothing: that of the settings
  bool hasControl = true;             // the control service
  bool isAtLogin = false;             // started by the session
  bool json = false;
  bool verbose = false;
  std::vector<std::string> notes;
};
Outcome<RunRequest> parseRun(const RunArguments& arguments, const TrackNamesSource& names);

}  // namespace sonmere
