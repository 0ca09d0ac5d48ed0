#pragma once

#include <cstdint>
#include <vector>

#include "base/LargeVector.h"

namespace sonmere {

struct WaveformBin {
  float minValue, maxValue;
  bool operator==(const WaveformBin&) const = default;
};

// The extremes of each bin of a file: what trim and zoom look at instead of the audio.
struct WaveformEnvelope {
  std::vector<LargeVector<WaveformBin>> channels;
  double sampleRate = 0;  // Hz
  std::int64_t totalFrames = 0;
  std::int64_t binFrames = 1;                   // frames of every bin but the last, which may have fewer
  std::int64_t firstFrame = 0;                  // of the first bin, where there are bins of a part only
  std::vector<LargeVector<float>> levels = {};  // RMS of each bin of each channel; none where not asked for
};

// The extremes of a channel between two frames, the second exclusive, as far as whole bins tell; zeros where
// there are no bins.
WaveformBin extremes(const WaveformEnvelope& envelope, std::size_t channel, std::int64_t from,
                     std::int64_t until);
// The RMS of a channel between two frames in the same way; needs levels.
float level(const WaveformEnvelope& envelope, std::size_t channel, std::int64_t from, std::int64_t until);

}  // namespace sonmere
