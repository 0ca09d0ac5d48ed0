#pragma once

#include <cstdint>

#include "dsp/Limiter.h"
#include "dsp/TapBatch.h"

namespace sonmere {

// The steps at the end of a chain, in place on n samples of interleaved stereo. One arithmetic for all paths.
// Render thread.
namespace RenderSteps {

// The three equaliser sections, if they are on.
template <class Coefficients>
void equalise(bool enabled, const Coefficients& coefficients, RTDoubles& delays, float* buffer,
              std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (enabled && n >= 2) applyEqualiser(coefficients, delays, std::size_t(n / 2), buffer);
}

// The limiter at the end of a chain, which lets its gain recover through silence. Returns the new gain.
inline float limitOutput(float* buffer, std::int64_t n, float ceiling, float gain,
                         float quietThreshold) noexcept SONMERE_NONBLOCKING {
  return limitUnlessSilent({buffer, std::size_t(n)}, ceiling, gain, quietThreshold, kLimiterRates48k);
}

}  // namespace RenderSteps
}  // namespace sonmere
