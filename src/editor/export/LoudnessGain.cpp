#include "editor/export/LoudnessGain.h"

#include <algorithm>
#include <cmath>

#include "editor/track/TrimEdit.h"

namespace sonmere {

LoudnessGain gainToLoudness(const Loudness& loudness, double targetLUFS) {
  LoudnessGain result;
  double decibels = 0;
  if (std::isfinite(loudness.integratedLUFS)) {
    const double wanted = std::pow(10, (targetLUFS - loudness.integratedLUFS) / 20);
    result.isLimited = wanted > TrimEdit::kMaximumGain;
    result.gainLinear = float(std::min(wanted, double(TrimEdit::kMaximumGain)));
    decibels = 20 * std::log10(double(result.gainLinear));
  }
  result.integratedLUFS = loudness.integratedLUFS + decibels;
  result.truePeakDb = loudness.truePeakDb + decibels;
  return result;
}

}  // namespace sonmere
