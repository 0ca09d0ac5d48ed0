#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "audio/file/AudioFileMark.h"
#include "base/Error.h"
#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// Where what stands in the picture of a waveform, in pixels: a title where there is room for one, a lane for
// each channel, a time axis below.
struct WaveformLayout {
  static constexpr int kMargin = 8, kLaneGap = 6, kAxisHeight = 22, kTitleHeight = 14;
  // Of a character of the title, about.
  static constexpr int kTitleAdvance = 6;
  static constexpr int kLeastWidth = 32, kLeastHeight = 32, kMostWidth = 16384, kMostHeight = 8192;

  // The largest sample of 16 bits: from here on a wave counts as clipped.
  static constexpr float kFullScale = 32767.0f / 32768;

  // How the height of a wave tells its level: in proportion, or in decibels from the floor at the centre to
  // full scale at the edge, where quiet passages can be seen.
  enum class Scale { linear, decibels };
  static constexpr float kFloorDb = -60;

  struct Lane {
    int top = 0, height = 0;
    Scale scale = Scale::linear;
    double centre() const { return top + height / 2.0; }
    // Of a sample; beyond full scale it ends at the edge.
    double y(float sample) const;
  };
  struct Tick {
    double x = 0;
    std::string label;  // "0:05", "1:02:30", "0:00.25"
  };
  // A line on either side of the centre, with its decibels.
  struct Level {
    float sample = 0;
    std::string label;
  };

  // A line down through all lanes.
  struct Mark {
    double x = 0;
    std::string shownText;  // as much as fits before the next mark; may be empty
  };

  int width = 0, height = 0;
  int plotLeft = 0, plotWidth = 0, axisTop = 0;
  std::vector<Lane> lanes;
  std::vector<Tick> ticks;
  std::vector<Mark> marks;
  std::vector<Level> levels;                      // none of a linear scale
  std::vector<std::vector<WaveformBin>> columns;  // for each lane the extremes of each column of pixels
  // For each lane the body of each column: within the extremes, the RMS on either side. Empty where the
  // envelope has no levels.
  std::vector<std::vector<WaveformBin>> bodies;
  std::string title;       // empty: none, or no room
  std::string shownTitle;  // as much of it as fits, one character a column

  // The levels whose labels find room in a lane.
  std::vector<Level> levelsIn(const Lane& lane) const;
};

// Shows the frames from `from` to `until` (exclusive, within the file, at least one). Fails for a size that
// is out of range or too low for the channels, and for an envelope of no frames.
Outcome<WaveformLayout> layOut(const WaveformEnvelope& envelope, std::int64_t from, std::int64_t until,
                               int width, int height,
                               WaveformLayout::Scale scale = WaveformLayout::Scale::linear,
                               const std::string& title = "");

// Puts those of the file's marks that lie within the frames shown into the picture; they are in their order.
void placeMarks(WaveformLayout& layout, std::span<const AudioFileMark> marks, std::int64_t from,
                std::int64_t until);

}  // namespace sonmere
