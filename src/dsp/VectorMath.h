#pragma once

#include <cstddef>

#include "base/RealtimeScope.h"

namespace sonmere {

// Vector operations over n float32 samples. Render threads.

// buffer *= gain
void scale(float* buffer, float gain, std::size_t n) noexcept SONMERE_NONBLOCKING;
// target += source
void addTo(float* target, const float* source, std::size_t n) noexcept SONMERE_NONBLOCKING;
// target += source * gain
void addScaled(float* target, const float* source, float gain, std::size_t n) noexcept SONMERE_NONBLOCKING;
// Largest |x|; not a number when any value is none.
float maxMagnitude(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING;
// Sum of x^2 in eight partial sums by index modulo 8, added pairwise: a fixed order that vectorises.
float sumOfSquares(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING;
void deinterleave(const float* interleaved, float* left, float* right,
                  std::size_t frames) noexcept SONMERE_NONBLOCKING;
void interleave(const float* left, const float* right, float* interleaved,
                std::size_t frames) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
