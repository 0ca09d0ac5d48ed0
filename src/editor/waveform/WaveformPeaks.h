#pragma once

#include "editor/track/WaveformEnvelope.h"
#include "editor/waveform/WaveformPeakSummary.h"

namespace sonmere {

// What one pass over a file gives: what is drawn, and what trim and zoom look at.
struct WaveformPeaks {
  WaveformPeakSummary summary;
  WaveformEnvelope envelope;
};

}  // namespace sonmere
