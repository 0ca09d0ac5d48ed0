#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/LargeVector.h"

namespace sonmere {

// A file as it is drawn: one signed peak for each bin of each channel.
struct WaveformPeakSummary {
  std::string url;  // full path
  std::vector<LargeVector<float>> channels;
  std::int64_t totalFrames = 0;
  double sampleRate = 0;       // Hz
  std::int64_t binFrames = 1;  // frames of every bin but the last, which may have fewer
};

}  // namespace sonmere
