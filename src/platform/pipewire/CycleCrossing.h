#pragma once

#include <cstdint>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "base/RTScalar.h"
#include "base/RealtimeScope.h"
#include "dsp/Ring.h"

namespace sonmere {

// Carries samples from one stream's cycle to another's, one cycle later. Both run on the audio thread, one
// after the other.
class CycleCrossing {
 public:
  explicit CycleCrossing(std::uint32_t channels);

  // A silent place for so many frames, to be filled and then given to `write`. Fewer when it is too large.
  AudioBuffer block(std::uint32_t frames) noexcept SONMERE_NONBLOCKING;
  void write(const float* samples, std::int64_t count) noexcept SONMERE_NONBLOCKING;
  // The samples that have waited for this cycle; false, and nothing written, when there are too few. What
  // gathered while the reader stood still is left out: it would be heard late from then on.
  bool read(float* target, std::int64_t count) noexcept SONMERE_NONBLOCKING;

 private:
  const std::uint32_t channels_;
  std::vector<float> block_;
  std::vector<float> ring_ = std::vector<float>(kTapRingSamples);
  RTPosition writePos_, readPos_;
};

}  // namespace sonmere
