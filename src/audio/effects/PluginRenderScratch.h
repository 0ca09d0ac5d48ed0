#pragma once

#include <cstdint>
#include <vector>

namespace sonmere {

constexpr std::uint32_t kMaxPluginFrames = 4096;

// Two pairs of planes that the effects of a chain use in turn. Carried over from chain to chain of one scope,
// since only one render thread ever runs that scope.
struct PluginRenderScratch {
  PluginRenderScratch() : storage_(4 * std::size_t(kMaxPluginFrames)) {}
  // Plane of one side (0 left, 1 right) of one pair (0 or 1).
  float* plane(int pair, int side) noexcept {
    return storage_.data() + std::size_t(2 * pair + side) * kMaxPluginFrames;
  }

 private:
  std::vector<float> storage_;
};

}  // namespace sonmere
