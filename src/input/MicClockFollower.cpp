#include "input/MicClockFollower.h"

#include <algorithm>
#include <cmath>

#include "dsp/Ring.h"

namespace sonmere {

namespace {

constexpr std::int64_t kRingFrames = MicSend::kRingBytes / 8;
// The resampler's filter, and what a correction overshoots by.
constexpr std::int64_t kMargin = 48;  // frames
// More than this in one block is no clock's error: a block was late, or the blocks have another size.
constexpr double kJump = 4;  // frames
// A delay that has moved steadily by this much drifts.
constexpr double kDrifted = 4;  // frames
constexpr int kSteadyBlocks = 8;
// Some five hundredths of a semitone.
constexpr double kMostCorrection = 0.003;
constexpr double kSettleSeconds = 0.5;
constexpr double kLearnSeconds = 4;
// A first block that lies so close behind the capture's, as a part of that, would be too early soon.
constexpr double kDangerZone = 0.25;

void copyFrames(const MicSend& send, std::int64_t at, std::int64_t frames, float* target) noexcept {
  ringCopyOut<2 * kRingFrames>(send.ring.data(), 2 * ((at + kRingFrames) % kRingFrames), target, 2 * frames);
}

// Through the two in the middle, with the slopes of their neighbours.
float curve(float before, float a, float b, float after, float part) noexcept {
  const float slopeA = 0.5f * (b - before), slopeB = 0.5f * (after - a);
  const float bend = slopeA + slopeB - 2 * (b - a);
  return a + part * (slopeA + part * ((b - a) - slopeA - bend + part * bend));
}

}  // namespace

MicClockFollower::MicClockFollower(double sampleRate)
    : sampleRate_(sampleRate),
      resampler_(2, 1.0, std::uint32_t(kMostFrames + kMostFrames / 8)),
      scratch_(std::size_t(2) * kRingFrames) {}

// From the capture to the bridge, as if both clocks ran without blocks.
double MicClockFollower::delayOf(const Cycle& cycle) const noexcept {
  return double(cycle.avail) + (isPrimed_ ? resampler_.pending() : -fraction_) + cycle.elapsed;
}

// A block of each: with that none is missed, however the two lie to one another.
double MicClockFollower::aimOf(const Cycle& cycle) const noexcept {
  return double(cycle.frames + cycle.input + kMargin);
}

bool MicClockFollower::canFollow(const Cycle& cycle) const noexcept {
  return cycle.frames <= kMostFrames && aimOf(cycle) + kMargin < double(kRingFrames);
}

bool MicClockFollower::mayBegin(const Cycle& cycle) const noexcept SONMERE_NONBLOCKING {
  const bool isOneCycle = cycle.elapsed == 0;
  const bool isSafe = cycle.elapsed >= kDangerZone * double(cycle.input);
  return isOneCycle || isSafe || !canFollow(cycle) || cycle.avail >= cycle.frames + cycle.input;
}

std::int64_t MicClockFollower::surplusAtBegin(const Cycle& cycle) const noexcept SONMERE_NONBLOCKING {
  if (cycle.elapsed == 0 || cycle.avail < cycle.frames + cycle.input) return 0;
  const auto surplus = cycle.avail + std::int64_t(std::ceil(cycle.elapsed)) - cycle.frames - cycle.input;
  return std::clamp<std::int64_t>(surplus, 0, cycle.avail - cycle.frames);
}

void MicClockFollower::observe(const Cycle& cycle) noexcept SONMERE_NONBLOCKING {
  const double delay = delayOf(cycle);
  if (!isFollowing_) watch(delay);
  if (std::abs(delay - firstDelay_) >= kDrifted && steadyBlocks_ >= kSteadyBlocks && canFollow(cycle))
    isFollowing_ = true;
  if (isFollowing_) steer(delay, cycle);
}

void MicClockFollower::watch(double delay) noexcept {
  const bool isSteady = steadyBlocks_ > 0 && std::abs(delay - lastDelay_) < kJump;
  lastDelay_ = delay;
  if (isSteady) {
    ++steadyBlocks_;
    return;
  }
  firstDelay_ = delay;
  steadyBlocks_ = 1;
}

// Proportional for what is off now, integral for the clocks' difference, which lasts.
void MicClockFollower::steer(double delay, const Cycle& cycle) noexcept {
  const double off = (delay - aimOf(cycle)) / (kSettleSeconds * sampleRate_);
  const double wanted = drift_ + off;
  const double held = std::clamp(wanted, -kMostCorrection, kMostCorrection);
  if (wanted == held) drift_ += off * double(cycle.frames) / (kLearnSeconds * sampleRate_);
  step_ = 1 + held;
  resampler_.setInputPerOutput(step_);
}

// What was played before as it is: the filter goes on from there.
void MicClockFollower::prime(const MicSend& send, std::int64_t at) noexcept {
  const std::int64_t before = resampler_.lookbehind();
  copyFrames(send, at - before, before, scratch_.data());
  resampler_.resume(scratch_.data(), fraction_);
  isPrimed_ = true;
}

// The filter looks ahead. Until the ring holds so much a slower pace is all that is wanted, and a curve
// through four frames serves.
std::int64_t MicClockFollower::creep(const MicSend& send, std::int64_t at, const Cycle& cycle,
                                     float* out) noexcept {
  step_ = 1 - kMostCorrection;
  copyFrames(send, at - 1, cycle.frames + 1, scratch_.data());
  for (std::int64_t i = 0; i < cycle.frames; ++i) {
    const double position = fraction_ + double(i) * step_;
    const auto frame = std::int64_t(position);
    const float part = float(position - double(frame));
    for (int side = 0; side < 2; ++side) {
      const auto sample = [&](std::int64_t which) {
        return scratch_[std::size_t(2 * std::min(which + 1, cycle.frames) + side)];
      };
      out[2 * i + side] = curve(sample(frame - 1), sample(frame), sample(frame + 1), sample(frame + 2), part);
    }
  }
  const double end = fraction_ + double(cycle.frames) * step_;
  const auto taken = std::int64_t(end);
  fraction_ = end - double(taken);
  return taken;
}

std::int64_t MicClockFollower::play(const MicSend& send, std::int64_t at, const Cycle& cycle,
                                    float* out) noexcept SONMERE_NONBLOCKING {
  if (!isPrimed_ && cycle.avail < cycle.frames + kMargin) return creep(send, at, cycle, out);
  if (!isPrimed_) prime(send, at);
  const auto needed = std::int64_t(resampler_.inputNeeded(std::uint32_t(cycle.frames)));
  if (needed > cycle.avail) return 0;
  copyFrames(send, at, needed, scratch_.data());
  resampler_.push(scratch_.data(), std::uint32_t(needed));
  resampler_.pull(out, std::uint32_t(cycle.frames));
  return needed;
}

}  // namespace sonmere
