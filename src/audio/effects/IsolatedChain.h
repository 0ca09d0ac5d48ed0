#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/effects/ChainLink.h"
#include "audio/effects/Effect.h"
#include "base/RTScalar.h"

namespace sonmere {

// A chain in another process, as one effect: each block is handed over, and the sound of a block before is
// played, which is the whole delay of the way there and back. What has not come in time, or holds what is no
// number, is played as it was handed over, equally late, and the block counts as failed. Whatever the other
// side does, the render neither waits nor stops. One render thread at a time.
class IsolatedChain final : public Effect {
 public:
  // `render` did not have all of its block.
  static constexpr OSStatus kLate = OSStatus(fourCharCode("late"));

  // What is heard until the first block is back: that block as it is, where the sound goes on, or silence,
  // where it begins.
  enum class Begin { dry, silent };

  IsolatedChain(std::shared_ptr<ChainLink> link, double sampleRate, Begin begin = Begin::dry);

  OSStatus render(double sampleTime, std::uint32_t frames, const float* const input[2],
                  float* const output[2]) noexcept SONMERE_NONBLOCKING override;
  // The delay of the way, and the latency of the effects behind it.
  double latency() const noexcept override;
  Outcome<std::string> fullState() const override { return std::string(); }

  // The delay of the way alone, in frames. Threads: any.
  std::int64_t delayFrames() const noexcept { return delay_.load(); }
  // Main thread.
  void setSampleRate(double sampleRate) noexcept { sampleRate_ = sampleRate; }
  // Blocks that were not complete. Threads: any.
  std::int64_t lateBlocks() const noexcept { return lateBlocks_.load(); }
  // What the chain was handed and has answered, modulo 2^32. Threads: any.
  std::uint32_t handed() const noexcept { return handed_.load(); }
  std::uint32_t answered() const noexcept { return link_->memory().answered.load(std::memory_order_acquire); }

 private:
  // Room for the longest delay, the longest block, and as much again.
  static constexpr std::int64_t kHistory = 4 * std::int64_t(kMaxPluginFrames);
  struct Block {
    std::int64_t start = 0;
    std::uint32_t frames = 0;
  };

  void begin(std::uint32_t frames, const float* const input[2]) noexcept;
  void takeAnswers() noexcept;
  void takeAnswer(const Block& block, const float* samples) noexcept;
  void handOver(std::uint32_t frames, const float* const input[2]) noexcept;
  bool play(std::uint32_t frames, float* const output[2]) noexcept;
  float* at(int side, std::int64_t position) noexcept {
    return history_.data() + side * kHistory + position % kHistory;
  }

  const std::shared_ptr<ChainLink> link_;
  const Begin begin_;
  RTScalar<double> sampleRate_;
  std::vector<float> history_;  // two planes, each a ring
  std::array<Block, SharedChain::kSlots> blocks_;
  RTScalar<std::uint32_t> handed_{0};
  std::uint32_t taken_ = 0;
  // Positions in frames: what was handed over, what came back, and up to where some did not.
  std::int64_t end_ = 0;
  std::int64_t answeredTo_ = 0;
  std::int64_t missingTo_ = 0;
  RTScalar<std::int64_t> delay_{0};
  RTScalar<std::int64_t> lateBlocks_{0};
};

}  // namespace sonmere
