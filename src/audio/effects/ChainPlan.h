#pragma once

#include <string>
#include <vector>

#include "audio/effects/Effect.h"

namespace sonmere {

// A chain as it should be. What bears the same key in two plans that follow one another is the same instance.
struct ChainPlan {
  struct Plugin {
    int key = 0;
    std::string id;
    std::string state;    // the state it begins with; empty for its own
    EffectValues values;  // set after the state
    bool bypassed = false;
  };
  double sampleRate = 0;
  std::vector<Plugin> plugins;
};

}  // namespace sonmere
