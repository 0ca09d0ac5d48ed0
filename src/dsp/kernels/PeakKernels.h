#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sonmere {

// Finds the smallest and the largest sample of each bin, straight in a file's interleaved little-endian
// samples. Written once and compiled for each instruction set; all give the same bits. Threads: any.
struct PeakKernels {
  const char* target;  // "avx2", "sse2", "neon", "plain"

  // `bins` bins of `frames` frames each (1 or more). For each channel pairs of floats go to `pairs`: the
  // smallest sample of a bin, then the largest, as the file readers scale them. What is no number is passed
  // over; a bin of nothing else is silent. Zeros are positive. kPeakSlackBytes behind the samples must be
  // readable.
  using Find = void (*)(const std::uint8_t* samples, std::size_t channels, std::size_t frames,
                        std::size_t bins, float* const* pairs) noexcept;
  Find int16;
  Find int24;
  Find float32;

  // The value of each pair that is farther from zero; the largest where both are as far.
  void (*signedPeaks)(const float* pairs, std::size_t bins, float* peaks) noexcept;
};

inline constexpr std::size_t kPeakSlackBytes = 64;

// Those of the best instruction set that this processor has. Threads: any.
const PeakKernels& peakKernels() noexcept;
// All that can run here, the best first, the plain loops last.
std::span<const PeakKernels* const> availablePeakKernels();

}  // namespace sonmere
