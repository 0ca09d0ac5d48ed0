#pragma once

#include <memory>
#include <vector>

#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// The extremes of a file over any range of frames, quickly however long the range is: above the file's own
// bins lie levels of ever wider ones. All channels together. Threads: any, once it is made.
class WavePyramid {
 public:
  explicit WavePyramid(std::shared_ptr<const WaveformEnvelope> envelope);

  // Looks at some dozens of bins at most. A range may be taken wider by a quarter of its length.
  WaveformBin extremes(std::int64_t from, std::int64_t until) const;
  std::int64_t binFrames() const { return envelope_->binFrames; }
  std::int64_t firstFrame() const { return envelope_->firstFrame; }

 private:
  static constexpr std::int64_t kFold = 16;  // bins of a level in one of the next
  std::int64_t count(std::size_t level) const;
  WaveformBin bin(std::size_t level, std::int64_t at) const;
  std::vector<WaveformBin> folded(std::size_t level) const;

  const std::shared_ptr<const WaveformEnvelope> envelope_;
  std::vector<std::vector<WaveformBin>> levels_;  // above the envelope
};

}  // namespace sonmere
