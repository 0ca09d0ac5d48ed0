#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/AlignedVector.h"
#include "base/Error.h"
#include "editor/track/PlainWav.h"

namespace sonmere {

// A plain WAV, a piece of it at a time in memory. There a piece lies to the cache lines as in the system's
// own pages of the file, which are copied quicker that way. Threads: one at a time.
class PlainWavPiece {
 public:
  // As many bytes behind the samples can be read too, and are anything.
  static constexpr std::size_t kSlackBytes = 64;

  PlainWavPiece(PlainWav wav, std::string path) : wav_(std::move(wav)), path_(std::move(path)) {}

  const PlainWav& wav() const { return wav_; }
  // Whole frames from `first` on: `frames` of them, fewer at the end, and where the file was cut since it was
  // opened. Valid until the next call.
  Outcome<std::span<const std::uint8_t>> read(std::int64_t first, std::int64_t frames);

 private:
  const PlainWav wav_;
  const std::string path_;
  AlignedVector<std::uint8_t> bytes_;
};

}  // namespace sonmere
