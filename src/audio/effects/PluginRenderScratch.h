#pragma once

#include <cstdint>
#include <vector>

#include "base/RenderClaim.h"

namespace sonmere {

constexpr std::uint32_t kMaxPluginFrames = 4096;

// Two pairs of planes that the effects of a chain use in turn. Carried over from chain to chain of one scope;
// the claim keeps a render that leaves and one that begins from using it, and the effects, at once.
struct PluginRenderScratch {
  PluginRenderScratch() : storage_(4 * std::size_t(kMaxPluginFrames)) {}
  // Plane of one side (0 left, 1 right) of one pair (0 or 1).
  float* plane(int pair, int side) noexcept {
    return storage_.data() + std::size_t(2 * pair + side) * kMaxPluginFrames;
  }

  RenderClaim claim;

 private:
  std::vector<float> storage_;
};

}  // namespace sonmere
