#pragma once

#include <string>
#include <vector>

#include "audio/effects/Effect.h"

namespace sonmere {

// A chain as it is.
struct ChainReport {
  struct Plugin {
    int key = 0;
    std::string error;  // why it is not in the chain; empty when it is
    int latencyFrames = 0;
    bool autoBypassed = false;
    EffectValues values;
  };
  std::vector<Plugin> plugins;
};

}  // namespace sonmere
