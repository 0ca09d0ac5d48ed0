#include "recording/RecorderBacklog.h"

#include <algorithm>
#include <new>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A drain that keeps up leaves far less behind.
constexpr std::int64_t kRelievedFrom = kRecorderRingSamples / 8;

}  // namespace

RecorderBacklog::RecorderBacklog(std::shared_ptr<RecorderRing> ring, double sampleRate)
    : ring_(std::move(ring)),
      maxMovedFrames_(std::int64_t(std::max(sampleRate, 1.0) * double(kMaxSeconds))) {}

std::int64_t RecorderBacklog::ringSamples() const {
  return ringAvailable<kRecorderRingSamples>(ring_->writePos.loadAcquire(), ring_->readPos.loadAcquire());
}

std::uint32_t RecorderBacklog::take(PCMBuffer& block) {
  const std::lock_guard lock(mutex_);
  const std::int64_t room = block.frameCapacity();
  const std::int64_t waiting = std::int64_t(moved_.empty() ? std::size_t(ringSamples()) : moved_.size()) / 2;
  const auto frames = std::uint32_t(std::min(room, waiting));
  moved_.empty() ? takeFromRing(block, frames) : takeMoved(block, frames);
  block.setFrameLength(frames);
  takenFrames_ = frames;
  return frames;
}

// Frames never straddle the wrap: positions and capacity are even.
void RecorderBacklog::takeFromRing(PCMBuffer& block, std::uint32_t frames) {
  const std::int64_t at = ring_->readPos.loadRelaxed();
  const std::size_t head = std::min(std::size_t(frames), std::size_t((kRecorderRingSamples - at) / 2));
  deinterleave(ring_->buffer.get() + at, block.channel(0), block.channel(1), head);
  deinterleave(ring_->buffer.get(), block.channel(0) + head, block.channel(1) + head, frames - head);
  advanceRing(2 * std::int64_t(frames));
}

void RecorderBacklog::takeMoved(PCMBuffer& block, std::uint32_t frames) {
  for (std::uint32_t i = 0; i < frames; ++i) {
    block.channel(0)[i] = moved_[2 * i];
    block.channel(1)[i] = moved_[2 * i + 1];
  }
  moved_.erase(moved_.begin(), moved_.begin() + 2 * std::ptrdiff_t(frames));
}

void RecorderBacklog::advanceRing(std::int64_t samples) {
  samplesRead_.add(samples);
  ring_->readPos.storeRelease((ring_->readPos.loadRelaxed() + samples) % kRecorderRingSamples);
}

bool RecorderBacklog::relieve() {
  const std::lock_guard lock(mutex_);
  const std::int64_t samples = ringSamples() / 2 * 2;
  if (samples < kRelievedFrom) return true;
  if (std::int64_t(moved_.size()) + samples > 2 * maxMovedFrames_) return false;
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
  return (std::int64_t(moved_.size()) + ringSamples()) / 2;
}

std::int64_t RecorderBacklog::waitingFrames() const {
  const std::lock_guard lock(mutex_);
  return takenFrames_ + (std::int64_t(moved_.size()) + ringSamples()) / 2;
}

// The difference is a whole number of rings but for a write or a read that is under way.
std::int64_t RecorderBacklog::overwrittenFrames() const {
  const std::int64_t written = ring_->written.loadAcquire();
  const std::int64_t behind = written - samplesRead_ - ringSamples();
  const std::int64_t laps =
      std::max<std::int64_t>(0, behind + kRecorderRingSamples / 2) / kRecorderRingSamples;
  return laps * kRecorderRingSamples / 2;
}

}  // namespace sonmere
