#include "audio/effects/IsolatedChain.h"

#include <algorithm>
#include <cmath>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

bool isFinite(const float* samples, std::size_t n) noexcept {
  return std::isfinite(maxMagnitude(samples, n));
}

}  // namespace

IsolatedChain::IsolatedChain(std::shared_ptr<ChainLink> link, double sampleRate, Begin begin)
    : link_(std::move(link)), begin_(begin), sampleRate_(sampleRate), history_(2 * std::size_t(kHistory)) {}

double IsolatedChain::latency() const noexcept {
  const auto behind = link_->memory().latencyFrames.load(std::memory_order_relaxed);
  return (double(delay_.load()) + double(behind)) / sampleRate_;
}

OSStatus IsolatedChain::render(double, std::uint32_t frames, const float* const input[2],
                               float* const output[2]) noexcept SONMERE_NONBLOCKING {
  if (frames < 1 || frames > kMaxPluginFrames) return kLate;
  if (delay_ == 0) begin(frames, input);
  // A longer block than ever needs a longer delay: a moment is heard twice.
  delay_.raiseTo(frames);
  takeAnswers();
  handOver(frames, input);
  if (play(frames, output)) return noErr;
  lateBlocks_.add(1);
  return kLate;
}

// Where the sound goes on the first block is heard at once, and again when it is back: a moment twice is
// better than one of silence.
void IsolatedChain::begin(std::uint32_t frames, const float* const input[2]) noexcept {
  for (int side = 0; side < 2 && begin_ == Begin::dry; ++side) std::copy_n(input[side], frames, at(side, 0));
  end_ = answeredTo_ = frames;
}

void IsolatedChain::takeAnswers() noexcept {
  SharedChain& memory = link_->memory();
  const std::uint32_t answered = memory.answered.load(std::memory_order_acquire) - taken_;
  // More than was asked for is a lie.
  if (answered > handed_ - taken_) return;
  for (std::uint32_t i = 0; i < answered; ++i, ++taken_) {
    const std::size_t slot = taken_ % SharedChain::kSlots;
    takeAnswer(blocks_[slot], memory.ringSlots[slot].samples.data());
  }
}

void IsolatedChain::takeAnswer(const Block& block, const float* samples) noexcept {
  answeredTo_ = block.start + block.frames;
  if (!isFinite(samples, 2 * std::size_t(block.frames))) {
    missingTo_ = answeredTo_;
    return;
  }
  // Played already, and its place taken by what came since.
  if (answeredTo_ <= end_ - delay_) return;
  for (std::uint32_t i = 0; i < block.frames; ++i) {
    *at(0, block.start + i) = samples[2 * i];
    *at(1, block.start + i) = samples[2 * i + 1];
  }
}

void IsolatedChain::handOver(std::uint32_t frames, const float* const input[2]) noexcept {
  for (int side = 0; side < 2; ++side)
    for (std::uint32_t i = 0; i < frames; ++i) *at(side, end_ + i) = input[side][i];
  const Block block{end_, frames};
  end_ += frames;
  const std::uint32_t number = handed_;
  // The other side is far behind: this block it will not get.
  if (number - taken_ >= SharedChain::kSlots) {
    missingTo_ = end_;
    return;
  }
  SharedChain& memory = link_->memory();
  const std::size_t slot = number % SharedChain::kSlots;
  blocks_[slot] = block;
  memory.ringSlots[slot].frames = frames;
  interleave(input[0], input[1], memory.ringSlots[slot].samples.data(), frames);
  handed_ = number + 1;
  memory.handed.store(number + 1, std::memory_order_release);
  link_->wake();
}

// True when all of it has been through the chain.
bool IsolatedChain::play(std::uint32_t frames, float* const output[2]) noexcept {
  const std::int64_t start = end_ - std::int64_t(frames) - delay_;
  const std::int64_t from = std::max<std::int64_t>(start, 0);
  for (int side = 0; side < 2; ++side)
    for (std::uint32_t i = 0; i < frames; ++i) output[side][i] = *at(side, from + i);
  return answeredTo_ >= from + frames && missingTo_ <= from;
}

}  // namespace sonmere
