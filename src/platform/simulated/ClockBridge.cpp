#include "platform/simulated/ClockBridge.h"

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {
constexpr std::uint32_t kMarginFrames = 96;  // the resampler's filter and rounding
constexpr double kMaximumCorrection = 0.002;
// Correction per frame of deviation: a deviation decays within some seconds, inaudibly slowly.
constexpr double kCorrectionPerFrame = 4e-6;
constexpr double kBacklogSmoothing = 1.0 / 64;
// Backlog, in aims, above which the reader jumps.
constexpr std::uint32_t kSurplusAims = 4;

std::uint32_t aimFor(const ClockBridge::Shape& shape) {
  const double perCycle = shape.targetFrames * shape.sourceRate / shape.targetRate;
  return shape.sourceFrames + std::uint32_t(std::ceil(perCycle)) + kMarginFrames;
}
}  // namespace

ClockBridge::ClockBridge(const Shape& shape)
    : shape_(shape),
      ratio_(shape.sourceRate / shape.targetRate),
      aim_(aimFor(shape)),
      fifo_(shape.channels, (kSurplusAims + 2) * aim_),
      resampler_(shape.channels, ratio_, aim_),
      scratch_(std::size_t(2) * aim_ * shape.channels),
      smoothedBacklog_(aim_) {}

void ClockBridge::write(const float* frames, std::uint32_t count) noexcept { fifo_.write(frames, count); }

bool ClockBridge::isReady(std::uint32_t backlog) noexcept {
  if (primed_) return true;
  if (backlog < aim_) return false;
  fifo_.skip(backlog - aim_);
  smoothedBacklog_ = aim_;
  primed_ = true;
  return true;
}

void ClockBridge::starve(float* frames, std::uint32_t count) noexcept {
  std::fill(frames, frames + std::size_t(count) * shape_.channels, 0.0f);
  primed_ = false;
  resampler_.reset();
}

void ClockBridge::read(float* frames, std::uint32_t count) noexcept {
  std::uint32_t backlog = fifo_.available();
  if (!isReady(backlog)) {
    std::fill(frames, frames + std::size_t(count) * shape_.channels, 0.0f);
    return;
  }
  backlog = fifo_.available();
  if (backlog > kSurplusAims * aim_) {
    fifo_.skip(backlog - aim_);
    backlog = aim_;
  }
  // One clock on both sides needs no correction: blocks pass bit for bit.
  if (shape_.corrected && shape_.sourceRate != shape_.targetRate)
    readCorrected(frames, count, backlog);
  else
    readPlain(frames, count, backlog);
}

void ClockBridge::readCorrected(float* frames, std::uint32_t count, std::uint32_t backlog) noexcept {
  smoothedBacklog_ += (backlog - smoothedBacklog_) * kBacklogSmoothing;
  // The rates are the clocks' true ones: what is left are the steps in which blocks come and go.
  const double steps = shape_.sourceFrames;
  const double deviation = smoothedBacklog_ - aim_;
  const double excess = deviation - std::clamp(deviation, -steps, steps);
  const double correction = std::clamp(excess * kCorrectionPerFrame, -kMaximumCorrection, kMaximumCorrection);
  resampler_.setInputPerOutput(ratio_ * (1 + correction));
  const std::uint32_t needed = resampler_.inputNeeded(count);
  if (needed > backlog || needed > 2 * aim_) return starve(frames, count);
  fifo_.read(scratch_.data(), needed);
  resampler_.push(scratch_.data(), needed);
  resampler_.pull(frames, count);
}

void ClockBridge::readPlain(float* frames, std::uint32_t count, std::uint32_t backlog) noexcept {
  if (backlog < count) return starve(frames, count);
  fifo_.read(frames, count);
}

}  // namespace sonmere
