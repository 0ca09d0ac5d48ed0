#pragma once

#include <cstdint>

#include "dsp/Limiter.h"
#include "dsp/TapEffects.h"

namespace sonmere {

// The longest block that a render works on: 4096 stereo frames. A longer one stays silent.
constexpr std::int64_t kRenderScratchSamples = 8192;

// The steps that the renders of tapped apps are made of, in place on n samples of interleaved stereo. One
// arithmetic for all paths. Render threads.
namespace RenderSteps {

// The three equaliser sections, if they are on.
void equalise(TapEffects& effects, float* buffer, std::int64_t n) noexcept SONMERE_NONBLOCKING;
template <class Coefficients>
void equalise(bool enabled, const Coefficients& coefficients, RTDoubles& delays, float* buffer,
              std::int64_t n) noexcept SONMERE_NONBLOCKING {
  if (enabled && n >= 2) applyEqualiser(coefficients, delays, std::size_t(n / 2), buffer);
}

// The part of a volume above 100 %: multiplies only then.
void boost(float volume, float* buffer, std::int64_t n) noexcept SONMERE_NONBLOCKING;

// The limiter, if it is on or the signal was boosted, so that a boost never passes the ceiling.
void limitTap(TapEffects& effects, float volume, float ceiling, float* buffer,
              std::int64_t n) noexcept SONMERE_NONBLOCKING;

// The limiter at the end of a chain, which lets its gain recover through silence. Returns the new gain.
float limitOutput(float* buffer, std::int64_t n, float ceiling, float gain,
                  float quietThreshold) noexcept SONMERE_NONBLOCKING;

}  // namespace RenderSteps
}  // namespace sonmere
