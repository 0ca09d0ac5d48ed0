#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
#include "editor/export/Loudness.h"

namespace sonmere {

class BlockSource;
class ExportProgress;

// Measures audio as it goes by; of it only the loudness of each tenth of a second is kept. A lone channel
// counts once, as other meters have it. Threads: one at a time.
class LoudnessMeter {
 public:
  // Fails for a rate or a number of channels that no loudness is defined for.
  static Outcome<LoudnessMeter> create(const PCMFormat& format);

  // The buffer has the meter's format.
  Outcome<void> add(const PCMBuffer& buffer);
  // Of all that was added.
  Outcome<Loudness> result() const { return joined(std::array{this}); }

  // Audio that is measured in pieces, by a meter each: pieces begin at multiples of `seamFrames`, and a meter
  // of a later one hears, before anything else, the `framesBeforeSeam` frames in front of it. They settle its
  // filters and fill its windows, so that what spans a seam counts once. One or two channels.
  static std::int64_t seamFrames(double sampleRate);
  static std::int64_t framesBeforeSeam(double sampleRate) { return 2 * seamFrames(sampleRate); }
  Outcome<void> addBefore(const PCMBuffer& buffer);
  // Of all pieces together, in the order of time.
  static Outcome<Loudness> joined(std::span<const LoudnessMeter* const> pieces);

 private:
  struct State;  // the library's
  LoudnessMeter(std::shared_ptr<State> state, const PCMFormat& format);

  void interleave(const PCMBuffer& buffer);
  Outcome<void> addInterleaved(const float* samples, std::size_t frames);
  void setHeard(bool isHeard);

  std::shared_ptr<State> state_;
  PCMFormat format_;
  std::vector<float> interleaved_;
  std::int64_t framesBefore_ = 0;  // heard so far
  double truePeak_ = 0;            // of what counts
};

// Measures a source to its end; `progress` may end it early.
Outcome<Loudness> measureLoudness(BlockSource& source, ExportProgress& progress);

}  // namespace sonmere
