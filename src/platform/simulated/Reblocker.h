#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dsp/SincResampler.h"

namespace sonmere {

// Turns stereo blocks of one size and rate into blocks of another, inside one clock.
class Reblocker {
 public:
  Reblocker(double fromRate, double toRate, std::uint32_t fromFrames, std::uint32_t toFrames);

  const double sourceRate, targetRate;
  const std::uint32_t sourceFrames, targetFrames;

  // A block of sourceFrames frames.
  void push(const float* stereo) noexcept;
  // Takes a block of targetFrames frames, if one is complete.
  bool pop(float* stereo) noexcept;

 private:
  std::unique_ptr<SincResampler> resampler_;
  std::vector<float> pending_;
  std::uint32_t pendingFrames_ = 0;
};

}  // namespace sonmere
