#include "recording/RecorderBacklog.h"

#include <algorithm>
#include <new>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A drain that keeps up leaves far less behind.
constexpr std::int64_t kRelievedFrom = kRecorderRingSamples / 8;

// To frame `to` of the block on.
void copyFrames(const float* samples, PCMBuffer& block, std::size_t to, std::size_t frames) {
  if (block.format().channels == 1)
    std::copy_n(samples, frames, block.channel(0) + to);
  else
    deinterleave(samples, block.channel(0) + to, block.channel(1) + to, frames);
}

}  // namespace

RecorderBacklog::RecorderBacklog(std::shared_ptr<RecorderRing> ring, double sampleRate)
    : ring_(std::move(ring)),
      channels_(ring_->channels),
      maxMovedFrames_(std::int64_t(std::max(sampleRate, 1.0) * double(kMaxSeconds))) {}

std::int64_t RecorderBacklog::ringSamples() const {
  return ringAvailable<kRecorderRingSamples>(ring_->writePos.loadAcquire(), ring_->readPos.loadAcquire());
}

std::int64_t RecorderBacklog::position() const {
  return samplesRead_ + lostSamples() - std::int64_t(moved_.size());
}

std::int64_t RecorderBacklog::samplesOfOneRate(std::int64_t waiting) const {
  const auto change = ring_->rates.front();
  return change ? std::clamp<std::int64_t>(change->at - position(), 0, waiting) : waiting;
}

std::optional<double> RecorderBacklog::takeRateChange() {
  const std::lock_guard lock(mutex_);
  const auto change = ring_->rates.front();
  if (!change || change->at > position()) return std::nullopt;
  ring_->rates.drop();
  return change->rate;
}

std::uint32_t RecorderBacklog::take(PCMBuffer& block) {
  const std::lock_guard lock(mutex_);
  const std::int64_t room = block.frameCapacity();
  // Before the look at the changes: one that belongs to what is seen here is then seen too.
  const std::int64_t waiting = moved_.empty() ? ringSamples() : std::int64_t(moved_.size());
  const auto frames = std::uint32_t(std::min(room, samplesOfOneRate(waiting) / channels_));
  moved_.empty() ? takeFromRing(block, frames) : takeMoved(block, frames);
  block.setFrameLength(frames);
  takenFrames_ = frames;
  return frames;
}

// Frames never straddle the wrap: positions and capacity are even.
void RecorderBacklog::takeFromRing(PCMBuffer& block, std::uint32_t frames) {
  const std::int64_t at = ring_->readPos.loadRelaxed();
  const std::size_t head =
      std::min(std::size_t(frames), std::size_t((kRecorderRingSamples - at) / channels_));
  copyFrames(ring_->buffer.get() + at, block, 0, head);
  copyFrames(ring_->buffer.get(), block, head, frames - head);
  advanceRing(channels_ * std::int64_t(frames));
}

void RecorderBacklog::takeMoved(PCMBuffer& block, std::uint32_t frames) {
  for (std::size_t i = 0; i < frames; ++i)
    for (std::size_t c = 0; c < std::size_t(channels_); ++c)
      block.channel(std::uint32_t(c))[i] = moved_[std::size_t(channels_) * i + c];
  moved_.erase(moved_.begin(), moved_.begin() + std::ptrdiff_t(channels_) * std::ptrdiff_t(frames));
}

void RecorderBacklog::advanceRing(std::int64_t samples) {
  samplesRead_.add(samples);
  ring_->readPos.storeRelease((ring_->readPos.loadRelaxed() + samples) % kRecorderRingSamples);
}

bool RecorderBacklog::relieve() {
  const std::lock_guard lock(mutex_);
  const std::int64_t samples = ringSamples() / channels_ * channels_;
  if (samples < kRelievedFrom) return true;
  if (std::int64_t(moved_.size()) + samples > channels_ * maxMovedFrames_) return false;
  const std::size_t before = moved_.size();
  try {
    moved_.resize(before + std::size_t(samples));
  } catch (const std::bad_alloc&) {
    return false;
  }
  const std::int64_t at = ring_->readPos.loadRelaxed();
  const std::int64_t head = std::min(samples, kRecorderRingSamples - at);
  const auto to = moved_.begin() + std::ptrdiff_t(before);
  std::copy_n(ring_->buffer.get() + at, head, to);
  std::copy_n(ring_->buffer.get(), samples - head, to + head);
  advanceRing(samples);
  return true;
}

std::int64_t RecorderBacklog::untakenFrames() const {
  const std::lock_guard lock(mutex_);
  return (std::int64_t(moved_.size()) + ringSamples()) / channels_;
}

std::int64_t RecorderBacklog::waitingFrames() const {
  const std::lock_guard lock(mutex_);
  return takenFrames_ + (std::int64_t(moved_.size()) + ringSamples()) / channels_;
}

// The difference is a whole number of rings but for a write or a read that is under way.
std::int64_t RecorderBacklog::lostSamples() const {
  const std::int64_t written = ring_->written.loadAcquire();
  const std::int64_t behind = written - samplesRead_ - ringSamples();
  const std::int64_t laps =
      std::max<std::int64_t>(0, behind + kRecorderRingSamples / 2) / kRecorderRingSamples;
  return laps * kRecorderRingSamples;
}

std::int64_t RecorderBacklog::overwrittenFrames() const { return lostSamples() / channels_; }

}  // namespace sonmere
