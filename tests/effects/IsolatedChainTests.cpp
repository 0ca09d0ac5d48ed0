#include "audio/effects/IsolatedChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

// The other side, by hand: answers when told, with the negative of what it was given.
struct HandLink final : ChainLink {
  SharedChain& memory() noexcept override { return *shared; }
  void wake() noexcept SONMERE_NONBLOCKING override { ++wakes; }
  void answer(float factor = -1) {
    for (std::uint32_t n = shared->answered; n != shared->handed; ++n) {
      auto& slot = shared->ringSlots[n % SharedChain::kSlots];
      for (std::uint32_t i = 0; i < 2 * slot.frames; ++i) slot.samples[i] *= factor;
      shared->answered = n + 1;
    }
  }
  std::unique_ptr<SharedChain> shared = std::make_unique<SharedChain>();
  int wakes = 0;
};

struct IsolatedChainTest : testing::Test {
  ~IsolatedChainTest() override { EXPECT_REALTIME_SAFE(guard); }

  // Renders the next frames of a ramp that begins at 1; true when all of it came back.
  bool render(std::uint32_t frames) {
    for (std::uint32_t i = 0; i < frames; ++i) left[i] = float(++time), right[i] = float(time) + 0.5f;
    const float* const in[2] = {left.data(), right.data()};
    float* const out[2] = {outLeft.data(), outRight.data()};
    const RealtimeScope scope;
    return chain.render(0, frames, in, out) == noErr;
  }

  RealtimeGuard guard;
  std::shared_ptr<HandLink> link = std::make_shared<HandLink>();
  IsolatedChain chain{link, 48000};
  int time = 0;
  std::vector<float> left = std::vector<float>(4096), right = left, outLeft = left, outRight = left;
};

// With every answer in time, each frame is heard once and in order, one block late, whatever the block sizes
// up to the longest so far; a longer one repeats a moment and raises the delay.
TEST_F(IsolatedChainTest, WhatComesInTimeIsHeardOneBlockLate) {
  std::mt19937 random{3};
  ASSERT_TRUE(render(512));
  EXPECT_EQ(outLeft[0], 1) << "the first block is heard at once";
  int next = 1;
  for (int block = 0; block < 2000; ++block) {
    link->answer();
    const auto frames = 1 + std::uint32_t(random() % 512);
    ASSERT_TRUE(render(frames)) << block;
    for (std::uint32_t i = 0; i < frames; ++i, ++next) {
      ASSERT_EQ(outLeft[i], -float(next)) << block;
      ASSERT_EQ(outRight[i], -float(next) - 0.5f) << block;
    }
  }
  EXPECT_EQ(chain.delayFrames(), 512);
  link->shared->latencyFrames = 48;
  EXPECT_DOUBLE_EQ(chain.latency(), (512 + 48) / 48000.0);
  link->answer();
  ASSERT_TRUE(render(4096));
  EXPECT_EQ(outLeft[4095], -float(time - 4096)) << "in time, behind a delay as long as the block";
  EXPECT_EQ(chain.lateBlocks(), 0);
}

// Whatever does not come is heard as it was, equally late, and counts; what comes too late is not heard.
TEST_F(IsolatedChainTest, WhatDoesNotComeIsHeardDry) {
  for (int block = 0; block < 4; ++block) {
    render(64);
    link->answer();
  }
  ASSERT_TRUE(render(64));
  EXPECT_EQ(outLeft[0], -193);
  // From here on nobody answers.
  for (int block = 0; block < 1000; ++block) {
    EXPECT_FALSE(render(64));
    ASSERT_EQ(outLeft[0], float(time - 127)) << block;
    ASSERT_EQ(outRight[63], float(time - 64) + 0.5f) << block;
  }
  EXPECT_EQ(chain.lateBlocks(), 1000);
  EXPECT_EQ(link->wakes, 4 + int(SharedChain::kSlots)) << "one that is far behind is handed no more";
  // It is back: the old answers are not heard, the new ones are.
  link->answer();
  EXPECT_FALSE(render(64));
  EXPECT_EQ(outLeft[0], float(time - 127));
  link->answer();
  EXPECT_TRUE(render(64));
  EXPECT_EQ(outLeft[0], -float(time - 127));
}

// The memory belongs to a process that may write anything into it.
TEST_F(IsolatedChainTest, LiesInTheSharedMemoryAreNotBelieved) {
  render(64);
  for (const std::uint32_t lie : {2u, 1000u, 0x8000'0000u, 0xFFFF'FFFFu}) {
    link->shared->answered = lie;
    for (auto& slot : link->shared->ringSlots) slot.frames = 0xFFFF'FFFF;
    EXPECT_FALSE(render(64)) << lie;
    EXPECT_EQ(outLeft[0], float(time - 127)) << lie;
  }
}

TEST_F(IsolatedChainTest, WhatIsNoNumberIsHeardDryAndCounts) {
  render(64);
  link->answer(std::numeric_limits<float>::quiet_NaN());
  EXPECT_FALSE(render(64));
  EXPECT_EQ(outLeft[0], 1);
  link->answer();
  EXPECT_TRUE(render(64));
  EXPECT_EQ(outLeft[0], -65);
}

}  // namespace
}  // namespace sonmere
