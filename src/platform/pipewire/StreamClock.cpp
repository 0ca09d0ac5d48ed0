#include "platform/pipewire/StreamClock.h"

#include <cmath>

namespace sonmere {

double StreamClock::begin(double seconds, std::uint32_t frames, double rate) noexcept {
  const bool isFirst = isPaused_.load(std::memory_order_relaxed) && isPaused_.exchange(false);
  sampleTime_ += lastFrames_;
  const double missing = (seconds - lastSeconds_) * rate - lastFrames_;
  // Where rates are converted cycles differ by some frames.
  if (!isFirst && lastFrames_ > 0 && missing > lastFrames_ / 2.0) {
    const auto lost = std::uint64_t(std::llround(missing));
    sampleTime_ += double(lost);
    frames_.store(frames_.load(std::memory_order_relaxed) + lost, std::memory_order_relaxed);
    times_.store(times_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  lastSeconds_ = seconds;
  lastFrames_ = frames;
  return sampleTime_;
}

}  // namespace sonmere
