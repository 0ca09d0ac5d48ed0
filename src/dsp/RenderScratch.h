#pragma once

#include <cstdint>
#include <memory>
#include <new>

#include "dsp/kernels/Kernels.h"

namespace sonmere {

// The longest block that a render works on: 4096 stereo frames. A longer one stays silent.
constexpr std::int64_t kRenderScratchSamples = 8192;

// Blocks up to this length are worked on side by side: 2048 frames, the longest that servers usually ask for.
constexpr std::int64_t kSideSamples = 4096;

// A block of samples for each tap that a render works on at once, and room for all of them side by side.
class RenderScratch {
 public:
  // Touches all of its memory. Main thread.
  RenderScratch() : samples_(new (kAlignment) float[kSize]()) {}

  // The block at `index` below kMaxLanes when blocks have n samples. They begin on cache lines of their own,
  // each at another place within a page. Render thread.
  float* block(std::size_t index, std::int64_t n) noexcept {
    return samples_.get() + index * std::size_t((n + kPad - 1) / kPad * kPad + kPad);
  }
  // Render thread.
  float* side() noexcept { return samples_.get() + kBlocksSize; }

 private:
  static constexpr std::align_val_t kAlignment{64};
  static constexpr std::int64_t kPad = 16;  // samples of a cache line
  static constexpr std::size_t kBlocksSize = kMaxLanes * std::size_t(kRenderScratchSamples + kPad);
  static constexpr std::size_t kSize = kBlocksSize + kMaxLanes * std::size_t(kSideSamples);
  struct Free {
    void operator()(float* samples) const { operator delete[](samples, kAlignment); }
  };
  std::unique_ptr<float[], Free> samples_;
};

}  // namespace sonmere
