#include "dsp/VectorMath.h"

#include <cmath>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace sonmere {

namespace {

using Lanes = float __attribute__((vector_size(32)));
constexpr std::size_t kLanes = 8;

// By memcpy through a reference: the vector type passes no function boundary, whose form would depend on the
// processor that it is compiled for.
void loadLanes(Lanes& lanes, const float* source) { std::memcpy(&lanes, source, sizeof lanes); }

}  // namespace

void scale(float* buffer, float gain, std::size_t n) noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < n; ++i) buffer[i] *= gain;
}

void addTo(float* target, const float* source, std::size_t n) noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < n; ++i) target[i] += source[i];
}

void addScaled(float* target, const float* source, float gain, std::size_t n) noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < n; ++i) target[i] += source[i] * gain;
}

float maxMagnitude(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING {
  float result = 0;
  std::size_t i = 0;
#if defined(__SSE2__)
  // The instruction keeps its second operand when the first is no number; those are noted beside it.
  const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
  __m128 even = _mm_setzero_ps(), odd = even, strange = even;
  for (; i + 8 <= n; i += 8) {
    const __m128 a = _mm_and_ps(_mm_loadu_ps(buffer + i), magnitude);
    const __m128 b = _mm_and_ps(_mm_loadu_ps(buffer + i + 4), magnitude);
    strange = _mm_or_ps(strange, _mm_cmpunord_ps(a, b));
    even = _mm_max_ps(a, even);
    odd = _mm_max_ps(b, odd);
  }
  if (_mm_movemask_ps(strange) != 0) return std::numeric_limits<float>::quiet_NaN();
  float lanes[4];
  _mm_storeu_ps(lanes, _mm_max_ps(even, odd));
  for (const float lane : lanes) result = lane > result ? lane : result;
#endif
  // False for a value that is no number, which so replaces the result and stays.
  for (; i < n; ++i)
    result = std::abs(buffer[i]) <= result ? result : std::isnan(result) ? result : std::abs(buffer[i]);
  return result;
}

float sumOfSquares(const float* buffer, std::size_t n) noexcept SONMERE_NONBLOCKING {
  Lanes sum{};
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    Lanes x;
    loadLanes(x, buffer + i);
    sum += x * x;
  }
  for (std::size_t lane = 0; i < n; ++i, ++lane) sum[lane] += buffer[i] * buffer[i];
  return ((sum[0] + sum[1]) + (sum[2] + sum[3])) + ((sum[4] + sum[5]) + (sum[6] + sum[7]));
}

void deinterleave(const float* interleaved, float* left, float* right,
                  std::size_t frames) noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < frames; ++i) {
    left[i] = interleaved[2 * i];
    right[i] = interleaved[2 * i + 1];
  }
}

void interleave(const float* left, const float* right, float* interleaved,
                std::size_t frames) noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < frames; ++i) {
    interleaved[2 * i] = left[i];
    interleaved[2 * i + 1] = right[i];
  }
}

}  // namespace sonmere
