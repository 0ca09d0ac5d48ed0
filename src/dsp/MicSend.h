#pragma once

#include <array>
#include <cstdint>

#include "base/RTScalar.h"
#include "dsp/Ring.h"

namespace sonmere {

// The microphone's ring as the buses read it, with one gain and one cursor per bus. One instance for the
// application. Positions count bytes. The mic's input callback writes ring and writePos; each bus's render
// writes its own cursor; the main thread the rest.
struct MicSend {
  static constexpr std::int64_t kRingBytes = kMicRingSamples * 4;
  // A send at or below this is off.
  static constexpr float kAudibleGain = 0.001f;

  std::array<float, kMicRingSamples> ring{};
  RTPosition writePos;
  RTScalar<double> captureRate{0.0};  // Hz
  RTScalar<bool> active{false};
  std::array<RTScalar<float>, 10> gains;                 // by bus, 0 when unset
  std::array<RTScalar<std::int64_t>, 10> readPositions;  // by bus
};

}  // namespace sonmere
