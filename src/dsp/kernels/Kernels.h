#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "dsp/kernels/LaneState.h"

namespace sonmere {

// Most streams that one call takes side by side, on any processor.
constexpr std::size_t kMaxLanes = 8;

// The inner loops of the renders, written once and compiled for each instruction set. All sets give the same
// bits as the plain loops; only which of several NaNs comes out is the processor's choice. Blocks are
// interleaved stereo; `frames` are stereo frames, `n` samples. Render thread.
struct Kernels {
  const char* target;  // "avx512", "avx2", "sse2", "neon", "plain"

  // The equaliser's three sections in place.
  void (*equalise)(EqualiserLane& lane, float* block, std::size_t frames) noexcept;
  // Those of several streams, and their boosts. Until limitAndMix the blocks hold nothing of use.
  void (*equaliseSideBySide)(const SideJob& job, std::size_t frames) noexcept;
  // The limiter's gain and clamp in place, from the block's target on.
  void (*limit)(LimiterLane& lane, float* block, std::size_t frames) noexcept;
  // Limiters, sum and equaliser of a group of streams.
  void (*limitAndMix)(const MixJob& job, std::size_t frames) noexcept;

  void (*scale)(float* block, float gain, std::size_t n) noexcept;
  void (*addTo)(float* target, const float* source, std::size_t n) noexcept;
  float (*maxMagnitude)(const float* block, std::size_t n) noexcept;
  float (*sumOfSquares)(const float* block, std::size_t n) noexcept;
  void (*deinterleave)(const float* block, float* left, float* right, std::size_t frames) noexcept;
  void (*interleave)(const float* left, const float* right, float* block, std::size_t frames) noexcept;
  // Of a file's little-endian samples of 16 bits, full scale at 1 = 2^15.
  void (*stereoFromInt16)(const std::uint8_t* block, float* left, float* right, std::size_t frames) noexcept;
  // The same, times `gain` (0, or no less than 1e-20), added to what is there.
  void (*addStereoFromInt16)(const std::uint8_t* block, float gain, float* left, float* right,
                             std::size_t frames) noexcept;
  // Back: rounded to nearest, halves to even, and clipped; not a number becomes 0.
  void (*int16FromStereo)(const float* left, const float* right, std::uint8_t* block,
                          std::size_t frames) noexcept;
};

// Those of the best instruction set that this processor has, unless others were chosen. Threads: any.
const Kernels& kernels() noexcept;

// All that can run here, the best first, the plain loops last.
std::span<const Kernels* const> availableKernels();
// For tests and measurements; nothing may render meanwhile. Null: the best again. Main thread.
void chooseKernels(const Kernels* chosen);

}  // namespace sonmere
