#pragma once

#include "editor/WaveformEnvelope.h"
#include "editor/WaveformPeakSummary.h"

namespace sonmere {

// What one pass over a file gives: what is drawn, and what trim and zoom look at.
struct WaveformPeaks {
  WaveformPeakSummary summary;
  WaveformEnvelope envelope;
};

}  // namespace sonmere
