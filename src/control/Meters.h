#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "control/InputState.h"
#include "control/MeterControl.h"
#include "control/RecordingState.h"

namespace sonmere {

// What of an app moves by itself.
struct AppMeters {
  std::optional<float> levelDb;  // dB full scale rms; nothing while nothing meters it
  float gainReductionDb = 0;     // what the limiter takes away now
  double addedDelayMs = 0;
  std::int64_t underruns = 0;
  double leftOutMs = 0;  // of its sound that the audio server left out, since its tap began
};

// All that moves by itself: of the apps that a tap holds, by identifier, of buses, and of what is recorded.
struct Meters {
  std::map<std::string, AppMeters> apps;
  std::map<int, float> busReductionDb;  // what the limiters of the running buses take away now
  std::vector<RecordingState> recordings;
  std::optional<InputMeters> input;       // nothing while the microphone is off
  std::optional<SpectrumState> spectrum;  // the one that this client looks at
};

}  // namespace sonmere
