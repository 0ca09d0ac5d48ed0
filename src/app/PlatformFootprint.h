#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace sonmere {

// One thing that the program has left in the user's world.
struct Footprint {
  enum class Kind { service, loginItem, devices, settings, presets, state, cache, runtime };
  Kind kind = Kind::settings;
  std::vector<std::string> paths;
  std::string kept;  // why it is not removed; empty: it is
};

const char* name(Footprint::Kind kind);
const char* meaning(Footprint::Kind kind);

// Of this user, what is there. Recordings are none of it, and neither is a folder that holds some. Threads:
// any that may wait.
std::vector<Footprint> footprints(const std::vector<std::string>& recordingsFolders);

// Removes it for good; while no program runs. The error names the first path that could not be removed.
// Threads: any that may wait.
Outcome<void> removeFootprint(const Footprint& footprint);

}  // namespace sonmere
