#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "dsp/Boost.h"
#include "dsp/BoostTaperSlider.h"
#include "dsp/Limiter.h"
#include "dsp/VectorMath.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

constexpr float kAttack = kLimiterRates48k.attack, kRelease = kLimiterRates48k.release;

TEST(Limiter, HoldsTheCeilingFromTheFirstSampleWhileTheGainFalls) {
  std::vector<float> block(2 * 4096, 1.5f);
  const float gain = limit(block, 0.891f, 1.0f, kLimiterRates48k);
  EXPECT_EQ(reference::peakOf(block.data(), block.size()), 0.891f);
  EXPECT_EQ(block.front(), 0.891f);
  EXPECT_NEAR(gain, 0.594f, 1e-4);
  // 5 ms after the start about 1/e of the way is left.
  std::vector<float> first(2 * 240, 1.5f);
  const float after5ms = limit(first, 0.891f, 1.0f, kLimiterRates48k);
  EXPECT_NEAR((after5ms - 0.594f) / (1 - 0.594f), std::exp(-1.0), 1e-3);
}

TEST(Limiter, ItsTimesAreTheSameAtAnyRate) {
  EXPECT_EQ(limiterRates(48000).attack, kAttack);
  EXPECT_EQ(limiterRates(48000).release, kRelease);
  EXPECT_NEAR(std::pow(limiterRates(96000).attack, 2), kAttack, 1e-6);
  EXPECT_NEAR(std::pow(limiterRates(96000).release, 2), kRelease, 1e-6);
}

TEST(Limiter, APeakAtTheCeilingIsLeftAlone) {
  std::vector<float> block = {0.5f, -0.5f, 0.25f, 0.5f};
  const auto before = block;
  EXPECT_EQ(limit(block, 0.5f, 1.0f, kLimiterRates48k), 1.0f);
  EXPECT_EQ(block, before);
  float one = 9;
  EXPECT_EQ(limit({&one, 1}, 0.5f, 0.7f, kLimiterRates48k), 0.7f);
  EXPECT_EQ(one, 9);
}

TEST(Limiter, SilenceRecoversTheGainAsSoundWould) {
  std::vector<float> silence(2 * 512, 0.0f);
  float loop = 0.5f, leap = 0.5f;
  for (int block = 0; block < 20; ++block) {
    loop = limit(silence, 1, loop, kLimiterRates48k);
    leap = limitUnlessSilent(silence, 1, leap, kBusQuietThreshold, kLimiterRates48k);
  }
  EXPECT_NEAR(loop, leap, 1e-4);
  EXPECT_EQ(reference::peakOf(silence.data(), silence.size()), 0);
  // Near enough to 1 it stays where it is.
  EXPECT_EQ(limitUnlessSilent(silence, 1, 0.99995f, kBusQuietThreshold, kLimiterRates48k), 0.99995f);
}

// Not even a silent block lets one through.
TEST(Limiter, NothingThatIsNoNumberComesOut) {
  std::vector<float> block(64, 0.0f);
  block[5] = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(limitUnlessSilent(block, 0.5f, 1.0f, kBusQuietThreshold, kLimiterRates48k), 1.0f);
  EXPECT_EQ(block[5], -0.5f);
  EXPECT_EQ(reference::peakOf(block.data(), 64), 0.5f);
}

TEST(Limiter, EqualsThePlainLoopBitForBit) {
  RealtimeGuard guard;
  std::mt19937 random(3);
  std::uniform_real_distribution<float> noise(-1, 1);
  float expectedGain = 1, gain = 1;
  for (int round = 0; round < 300; ++round) {
    const std::size_t frames = 1 + random() % 900;
    const float loudness = round % 7 == 0 ? 0.0f : std::exp2(float(random() % 6) - 3);
    std::vector<float> expected(2 * frames);
    for (auto& sample : expected) sample = noise(random) * loudness;
    if (round % 11 == 0) expected[random() % expected.size()] = std::numeric_limits<float>::quiet_NaN();
    if (round % 13 == 0) expected[random() % expected.size()] = -std::numeric_limits<float>::infinity();
    auto actual = expected;
    expectedGain = reference::limit(expected.data(), frames, 0.8f, expectedGain, kAttack, kRelease);
    {
      const RealtimeScope scope;
      gain = limit(actual, 0.8f, gain, kLimiterRates48k);
    }
    ASSERT_EQ(std::bit_cast<std::uint32_t>(gain), std::bit_cast<std::uint32_t>(expectedGain))
        << "round " << round;
    ASSERT_EQ(std::memcmp(expected.data(), actual.data(), 8 * frames), 0) << "round " << round;
    if (std::isnan(gain)) gain = expectedGain = 1;
  }
  EXPECT_REALTIME_SAFE(guard);
}

TEST(VectorMath, EqualsPlainLoops) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> noise(-2, 2);
  for (std::size_t n = 0; n < 70; ++n) {
    std::vector<float> x(n);
    for (auto& v : x) v = noise(random);
    EXPECT_EQ(maxMagnitude(x.data(), n), reference::peakOf(x.data(), n));
    float lanes[8] = {};
    for (std::size_t i = 0; i < n; ++i) lanes[i % 8] += x[i] * x[i];
    EXPECT_EQ(sumOfSquares(x.data(), n), ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) +
                                             ((lanes[4] + lanes[5]) + (lanes[6] + lanes[7])));
  }
  std::vector<float> odd(21, 0.0f);
  for (std::size_t i = 0; i < odd.size(); ++i) {
    odd.assign(odd.size(), 0.5f);
    odd[i] = -std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(maxMagnitude(odd.data(), odd.size()))) << i;
  }
}

TEST(Boost, ClampsToWhatIsAllowed) {
  EXPECT_EQ(clampAppVolume(9, true), 4);
  EXPECT_EQ(clampAppVolume(9, false), 1);
  EXPECT_EQ(clampAppVolume(-1, true), 0);
  EXPECT_EQ(clampAppVolume(std::nanf(""), true), 0);
}

TEST(BoostTaperSlider, MapsThreeQuartersToFullAndTheRestToBoost) {
  BoostTaperSlider slider;
  slider.maxValue = 4;
  EXPECT_EQ(slider.valueAt(0.75), 1);
  EXPECT_FLOAT_EQ(slider.valueAt(0.76), 1.12f);
  EXPECT_EQ(slider.valueAt(0.7451), 1);
  EXPECT_FLOAT_EQ(slider.valueAt(0.375), 0.5f);
  EXPECT_EQ(slider.valueAt(2), 4);
  for (const float v : {0.0f, 0.3f, 0.9f, 1.0f, 1.5f, 4.0f})
    EXPECT_NEAR(slider.valueAt(slider.positionOf(v)), v, 1e-6);
  // Nearer to 100 % than 2 % is 100 %, on both sides of the knee.
  EXPECT_EQ(slider.valueAt(0.981 * 0.75), 1);
  EXPECT_NEAR(slider.valueAt(0.979 * 0.75), 0.979, 1e-6);
  EXPECT_EQ(slider.valueAt(0.75 + 0.019 / 12), 1);
  EXPECT_NEAR(slider.valueAt(0.75 + 0.021 / 12), 1.021, 1e-6);
  slider.step = 0.25f;  // ties go away from zero
  EXPECT_EQ(slider.valueAt(0.125 * 0.75), 0.25f);
  EXPECT_EQ(slider.valueAt(0.75 + 1.6 / 12), 2.5f);
  slider.step = 0.012f;
  EXPECT_NEAR(slider.valueAt(0.3401), 0.456, 1e-6);
  slider.step = 0.1f;
  EXPECT_FLOAT_EQ(slider.valueAt(0.34), 0.5f);
  slider.step = 0.01f;  // too fine to count
  EXPECT_FLOAT_EQ(slider.valueAt(0.3401), 0.45346668f);
  slider.maxValue = 1.001f;
  EXPECT_FLOAT_EQ(slider.valueAt(0.3), 0.3f);
  EXPECT_EQ(slider.positionOf(3), 1);
}

}  // namespace
}  // namespace sonmere
