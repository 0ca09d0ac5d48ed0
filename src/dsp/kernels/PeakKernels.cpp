#include "dsp/kernels/PeakKernels.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "dsp/kernels/PeakKernelTargets.h"

namespace sonmere {

namespace {

float fromInt16(const std::uint8_t* bytes) {
  std::int16_t value;
  std::memcpy(&value, bytes, sizeof value);
  return float(value) * (1.0f / 32768);
}

float fromInt24(const std::uint8_t* bytes) {
  const std::uint32_t upper =
      std::uint32_t(bytes[0]) << 8 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 24;
  return float(std::int32_t(upper) >> 8) * (1.0f / 8388608);
}

float fromFloat32(const std::uint8_t* bytes) {
  float value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <std::size_t Bytes, float (*toFloat)(const std::uint8_t*)>
void findPlain(const std::uint8_t* samples, std::size_t channels, std::size_t frames, std::size_t bins,
               float* const* pairs) noexcept {
  const std::size_t step = channels * Bytes;
  for (std::size_t bin = 0; bin < bins; ++bin, samples += frames * step) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const std::uint8_t* at = samples + channel * Bytes;
      float low = std::numeric_limits<float>::infinity(), high = -low;
      for (std::size_t frame = 0; frame < frames; ++frame, at += step) {
        const float x = toFloat(at);
        low = x < low ? x : low;
        high = x > high ? x : high;
      }
      const bool isFound = low <= high;
      pairs[channel][2 * bin] = (isFound ? low : 0.0f) + 0.0f;
      pairs[channel][2 * bin + 1] = (isFound ? high : 0.0f) + 0.0f;
    }
  }
}

void signedPeaksPlain(const float* pairs, std::size_t bins, float* peaks) noexcept {
  for (std::size_t bin = 0; bin < bins; ++bin) {
    const float low = pairs[2 * bin], high = pairs[2 * bin + 1];
    peaks[bin] = std::abs(low) <= std::abs(high) ? high : low;
  }
}

struct Available {
  std::array<const PeakKernels*, 3> list{};
  std::size_t count = 0;

  Available() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) add(kAVX2PeakKernels);
#endif
    add(kBasePeakKernels);
    add(&kPlainPeakKernels);
  }
  void add(const PeakKernels* kernels) {
    if (kernels) list[count++] = kernels;
  }
};

const Available& available() {
  static const Available all;
  return all;
}

}  // namespace

constinit const PeakKernels kPlainPeakKernels = {"plain", findPlain<2, fromInt16>, findPlain<3, fromInt24>,
                                                 findPlain<4, fromFloat32>, signedPeaksPlain};

const PeakKernels& peakKernels() noexcept { return *available().list[0]; }

std::span<const PeakKernels* const> availablePeakKernels() {
  return {available().list.data(), available().count};
}

}  // namespace sonmere
