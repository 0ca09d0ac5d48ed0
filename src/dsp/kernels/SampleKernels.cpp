#include "dsp/kernels/SampleKernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace sonmere {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are copied in the machine's byte order");

constexpr float kScale16 = 32768, kScale24 = 8388608;

std::int16_t toInt16(float sample) {
  if (std::isnan(sample)) return 0;
  return std::int16_t(std::lrint(std::clamp(sample * kScale16, -kScale16, kScale16 - 1)));
}

float fromInt16(const std::uint8_t* bytes) {
  std::int16_t value;
  std::memcpy(&value, bytes, sizeof value);
  return float(value) * (1 / kScale16);
}

float fromInt24(const std::uint8_t* bytes) {
  const auto value = std::int32_t(std::uint32_t(bytes[0]) << 8 | std::uint32_t(bytes[1]) << 16 |
                                  std::uint32_t(bytes[2]) << 24) >>
                     8;
  return float(value) * (1 / kScale24);
}

#if defined(__SSE2__)
// Four samples as integers; the clipping happens before the rounding.
__m128i roundedInt16(__m128 samples) {
  const __m128 number = _mm_and_ps(samples, _mm_cmpord_ps(samples, samples));
  const __m128 scaled = _mm_mul_ps(number, _mm_set1_ps(kScale16));
  return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(scaled, _mm_set1_ps(-kScale16)), _mm_set1_ps(kScale16 - 1)));
}
#endif

}  // namespace

void planeFromInt16(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept {
  if (channels == 1) {
    for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt16(samples + 2 * i);
  } else {
    for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt16(samples + 2 * channels * i);
  }
}

void planeFromInt24(const std::uint8_t* samples, std::size_t channels, float* plane,
                    std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) plane[i] = fromInt24(samples + 3 * channels * i);
}

void planeFromFloat32(const std::uint8_t* samples, std::size_t channels, float* plane,
                      std::size_t count) noexcept {
  if (channels == 1) {
    std::memcpy(plane, samples, count * sizeof *plane);
  } else {
    for (std::size_t i = 0; i < count; ++i)
      std::memcpy(plane + i, samples + sizeof *plane * channels * i, sizeof *plane);
  }
}

void int16FromStereo(const float* left, const float* right, std::uint8_t* frames,
                     std::size_t count) noexcept {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 4 <= count; i += 4) {
    const __m128i l = roundedInt16(_mm_loadu_ps(left + i)), r = roundedInt16(_mm_loadu_ps(right + i));
    const __m128i low = _mm_and_si128(l, _mm_set1_epi32(0xFFFF));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(frames + 4 * i), _mm_or_si128(low, _mm_slli_epi32(r, 16)));
  }
#endif
  for (; i < count; ++i) {
    const std::int16_t frame[2] = {toInt16(left[i]), toInt16(right[i])};
    std::memcpy(frames + 4 * i, frame, sizeof frame);
  }
}

}  // namespace sonmere
