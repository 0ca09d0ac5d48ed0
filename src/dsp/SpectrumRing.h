#pragma once

#include <array>
#include <cstdint>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"
#include "dsp/Ring.h"

namespace sonmere {

// The latest 2048 samples of (L+R)/2 for the spectrum display. One render thread writes; the display reads at
// any time, with no read position: a torn view costs one frame of a picture.
struct SpectrumRing {
  std::array<RTScalar<float>, kSpectrumRingSamples> samples;
  RTScalar<std::int64_t> writePos;

  // `count` samples of interleaved stereo; an odd last one is left out.
  void feed(const float* interleaved, std::int64_t count) noexcept SONMERE_NONBLOCKING {
    std::int64_t at = writePos;
    for (std::int64_t i = 0; i + 1 < count; i += 2) {
      samples[std::size_t(at)] = (interleaved[i] + interleaved[i + 1]) * 0.5f;
      at = at + 1 == kSpectrumRingSamples ? 0 : at + 1;
    }
    writePos = at;
  }
};

}  // namespace sonmere
