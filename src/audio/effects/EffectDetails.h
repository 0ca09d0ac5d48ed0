#pragma once

#include <string>
#include <vector>

#include "audio/effects/AvailableEffect.h"
#include "audio/effects/EffectControl.h"

namespace sonmere {

// All that is known of an effect without running it.
struct EffectDetails {
  struct Preset {
    std::string id;
    std::string name;
  };
  AvailableEffect effect;
  std::vector<EffectControl> controls;
  std::vector<Preset> presets;
};

}  // namespace sonmere
