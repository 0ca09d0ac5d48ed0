#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dsp/AppEQSettings.h"

namespace sonmere {

// The per-app volume as a whole.
struct MixerState {
  bool isEnabled = false;
  float masterVolume = 1;  // linear
  bool boostAllowed = true;
  AppEQSettings outputEqualiser;
  std::string outputDevice;  // UID; empty: none is bound
  double sampleRate = 0;     // Hz, of that device
  std::optional<std::string> error;
};

struct MixerChange {
  MixerState mixer;
  std::vector<std::string> notes;
};

}  // namespace sonmere
