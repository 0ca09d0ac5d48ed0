#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/Error.h"
#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// Where what stands in the picture of a waveform, in pixels: a lane for each channel, a time axis below.
struct WaveformLayout {
  static constexpr int kMargin = 8, kLaneGap = 6, kAxisHeight = 22;
  static constexpr int kLeastWidth = 32, kLeastHeight = 32, kMostWidth = 16384, kMostHeight = 8192;

  // The largest sample of 16 bits: from here on a wave counts as clipped.
  static constexpr float kFullScale = 32767.0f / 32768;

  struct Lane {
    int top = 0, height = 0;
    double centre() const { return top + height / 2.0; }
    // Of a sample; beyond full scale it ends at the edge.
    double y(float sample) const;
  };
  struct Tick {
    double x = 0;
    std::string label;  // "0:05", "1:02:30", "0:00.25"
  };

  int width = 0, height = 0;
  int plotLeft = 0, plotWidth = 0, axisTop = 0;
  std::vector<Lane> lanes;
  std::vector<Tick> ticks;
  std::vector<std::vector<WaveformBin>> columns;  // for each lane the extremes of each column of pixels
};

// Shows the frames from `from` to `until` (exclusive, within the file, at least one). Fails for a size that
// is out of range or too low for the channels, and for an envelope of no frames.
Outcome<WaveformLayout> layOut(const WaveformEnvelope& envelope, std::int64_t from, std::int64_t until,
                               int width, int height);

}  // namespace sonmere
