#include "platform/simulated/Reblocker.h"

#include <algorithm>
#include <cmath>

namespace sonmere {

Reblocker::Reblocker(double fromRate, double toRate, std::uint32_t fromFrames, std::uint32_t toFrames)
    : sourceRate(fromRate), targetRate(toRate), sourceFrames(fromFrames), targetFrames(toFrames) {
  const double ratio = fromRate / toRate;
  if (fromRate != toRate) resampler_ = std::make_unique<SincResampler>(2, ratio, fromFrames);
  pending_.resize(2 * (std::size_t(toFrames) + std::size_t(std::ceil(fromFrames / ratio)) + 64));
}

void Reblocker::push(const float* stereo) noexcept {
  float* end = pending_.data() + 2 * std::size_t(pendingFrames_);
  const auto room = std::uint32_t(pending_.size() / 2 - pendingFrames_);
  if (resampler_) {
    resampler_->push(stereo, sourceFrames);
    pendingFrames_ += resampler_->pull(end, room);
    return;
  }
  const std::uint32_t count = std::min(sourceFrames, room);
  std::copy_n(stereo, 2 * std::size_t(count), end);
  pendingFrames_ += count;
}

bool Reblocker::pop(float* stereo) noexcept {
  if (pendingFrames_ < targetFrames) return false;
  std::copy_n(pending_.data(), 2 * std::size_t(targetFrames), stereo);
  pendingFrames_ -= targetFrames;
  std::copy(pending_.data() + 2 * std::size_t(targetFrames),
            pending_.data() + 2 * std::size_t(targetFrames + pendingFrames_), pending_.data());
  return true;
}

}  // namespace sonmere
