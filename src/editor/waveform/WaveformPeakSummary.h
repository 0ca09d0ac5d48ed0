#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// A file as it is drawn: for each bin of each channel the extreme that is farther from zero, the larger one
// when both are as far.
struct WaveformPeakSummary {
  std::string url;  // full path
  std::vector<LargeVector<float>> channels;
  std::int64_t totalFrames = 0;
  double sampleRate = 0;       // Hz
  std::int64_t binFrames = 1;  // frames of every bin but the last, which may have fewer

  static WaveformPeakSummary of(std::string url, const WaveformEnvelope& envelope);
};

}  // namespace sonmere
