#pragma once

#include <cstddef>

#include "base/RealtimeScope.h"
#include "dsp/kernels/Kernels.h"

namespace sonmere {

// Vector operations over n float32 samples. Render thread.

// buffer *= gain
inline void scale(float* buffer, float gain, std::size_t n) noexcept SONMERE_NONBLOCKING {
  kernels().scale(buffer, gain, n);
}
// target += source
inline void addTo(float* target, const float* source, std::size_t n) noexcept SONMERE_NONBLOCKING {
  kernels().addTo(target, source, n);
}
// Largest |x|; not a number when any value is none.
inline float maxMagnitude(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING {
  return kernels().maxMagnitude(buffer, n);
}
// Sum of x^2 in eight partial sums by index modulo 8, added pairwise: a fixed order that vectorises.
inline float sumOfSquares(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING {
  return kernels().sumOfSquares(buffer, n);
}
inline void deinterleave(const float* interleaved, float* left, float* right,
                         std::size_t frames) noexcept SONMERE_NONBLOCKING {
  kernels().deinterleave(interleaved, left, right, frames);
}
inline void interleave(const float* left, const float* right, float* interleaved,
                       std::size_t frames) noexcept SONMERE_NONBLOCKING {
  kernels().interleave(left, right, interleaved, frames);
}

}  // namespace sonmere
