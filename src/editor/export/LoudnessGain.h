#pragma once

#include "editor/export/Loudness.h"

namespace sonmere {

// The gain that brings audio to a loudness.
struct LoudnessGain {
  float gainLinear = 1;
  bool isLimited = false;     // more than the largest gain would be needed
  double integratedLUFS = 0;  // after the gain
  double truePeakDb = 0;      // after the gain
  bool passesFullScale() const { return truePeakDb > 0; }
};

// In decibels the target less the integrated loudness, at most a gain of 16. Silence is left as it is.
LoudnessGain gainToLoudness(const Loudness& loudness, double targetLUFS);

}  // namespace sonmere
