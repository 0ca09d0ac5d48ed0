#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "base/VirtualRuntime.h"
#include "mixer/VolumeMixerOutputContext.h"
#include "mixer/VolumeMixerRender.h"
#include "routing/RoutingCore.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

constexpr float kAttack = kLimiterRates48k.attack, kRelease = kLimiterRates48k.release;

class VolumeMixerRenderTest : public testing::Test {
 protected:
  ~VolumeMixerRenderTest() override { EXPECT_REALTIME_SAFE(guard); }

  std::shared_ptr<VolumeMixerTap> addTap(bool live = true) {
    auto tap =
        std::make_shared<VolumeMixerTap>("app " + std::to_string(taps.size()), std::vector<AudioObjectID>{1});
    tap->ring.requests.startLive = !live;
    taps.push_back(tap);
    context.tapsSnapshot.publish(std::make_shared<VolumeMixerSnapshot>(VolumeMixerSnapshot{taps}), retirement,
                                 kSnapshotGrace);
    return tap;
  }
  // What the tap's aggregate delivers in one cycle.
  static void capture(VolumeMixerTap& tap, std::vector<float> samples) {
    float leftover[4] = {1, 1, 1, 1};
    AudioBuffer in[] = {{2, 64, nullptr}, {2, std::uint32_t(samples.size() * 4), samples.data()}};
    AudioBuffer out{2, sizeof leftover, leftover};
    EXPECT_EQ(captureProcedure(static_cast<CaptureTap*>(&tap), {}, in, {&out, 1}), noErr);
    for (const float sample : leftover) EXPECT_EQ(sample, 0);
  }
  std::vector<float> noise(std::size_t samples, float loudness = 1) {
    std::uniform_real_distribution<float> distribution(-loudness, loudness);
    std::vector<float> result(samples);
    for (auto& sample : result) sample = distribution(random);
    return result;
  }
  std::vector<float> render(std::size_t frames) {
    std::vector<float> out(2 * frames, 7.0f);
    AudioBuffer buffer{2, std::uint32_t(out.size() * 4), out.data()};
    EXPECT_EQ(renderVolumeMixer(static_cast<RenderContext*>(&context), {0, hostTime}, std::uint32_t(frames),
                                {&buffer, 1}),
              noErr);
    return out;
  }

  RealtimeGuard guard;
  VirtualRuntime runtime{1};
  RenderRetirement retirement{runtime};
  std::uint64_t hostTime = 0;  // ns
  RenderFlags flags;
  VolumeMixerOutputContext context{flags, 48000};
  std::vector<std::shared_ptr<VolumeMixerTap>> taps;
  std::mt19937 random{11};
};

// One app as the plain loops see it.
struct ReferenceTap {
  AppEQSettings equaliser;
  AppLimiterSettings limiter;
  float volume = 1;
  reference::EqualiserState state{};
  float gain = 1;

  void addTo(std::vector<float>& sum, std::vector<float> samples, float master) {
    const std::size_t frames = samples.size() / 2;
    if (equaliser.isEnabled) reference::equalise(coefficients48k(equaliser), state, samples.data(), frames);
    if (volume > 1)
      for (auto& sample : samples) sample *= volume;
    const float ceiling = limiter.isEnabled ? limiterCeiling(limiter.ceilingDb) : 1.0f;
    if (volume > 1 || limiter.isEnabled)
      gain = reference::limit(samples.data(), frames, ceiling, gain, kAttack, kRelease);
    const float share = std::min(1.0f, volume) * master;
    if (share > 0)
      for (std::size_t i = 0; i < samples.size(); ++i) sum[i] += samples[i] * share;
  }
};

// Every stage at once, over blocks of random size up to the largest, through capture and render.
TEST_F(VolumeMixerRenderTest, TheWholeChainEqualsPlainLoopsBitForBit) {
  hostTime = 77;
  const AppEQSettings bright{.isEnabled = true, .highPassFreq = 90, .paraFreq = 3000, .paraGain = 7};
  const AppEQSettings dark{.isEnabled = true, .lowPassFreq = 5000, .paraFreq = 150, .paraGain = -5};
  std::vector<ReferenceTap> plain = {
      {bright, {}, 3.0f}, {{}, {true, -6}, 0.4f}, {bright, {true, -3}, 1.5f}, {dark, {true, -2}, 0.0f}, {},
      {bright, {}, 1.1f}};
  for (const ReferenceTap& app : plain) {
    const auto tap = addTap();
    tap->apply(app.equaliser);
    tap->apply(app.limiter);
    tap->volume = app.volume;
  }
  context.masterVolume = 1.7f;
  context.outputEQCoefficients.copy(coefficients48k(dark));
  context.outputEQEnabled = true;
  flags.equaliserAvailable = true;
  reference::EqualiserState outputState;
  float outputGain = 1;
  for (int round = 0; round < 120; ++round) {
    // Looking at the taps between two steps changes nothing.
    flags.spectrumVisible = round % 3 == 0;
    const std::size_t frames = 1 + random() % 4096;
    std::vector<float> sum(2 * frames, 0.0f);
    for (std::size_t i = 0; i < plain.size(); ++i) {
      const auto samples = noise(2 * frames, 0.7f);
      capture(*taps[i], samples);
      plain[i].addTo(sum, samples, 1.7f);
    }
    reference::equalise(coefficients48k(dark), outputState, sum.data(), frames);
    outputGain = reference::limit(sum.data(), frames, 1.0f, outputGain, kAttack, kRelease);
    const auto out = render(frames);
    ASSERT_EQ(std::memcmp(out.data(), sum.data(), out.size() * 4), 0) << "round " << round;
  }
  EXPECT_EQ(context.lastRenderHostTime, 77u);
}

// At 100 % without output equaliser nothing touches the sum, however loud.
TEST_F(VolumeMixerRenderTest, WhatMissedCyclesLeaveInTheRingIsDroppedWithinTwoSeconds) {
  const auto tap = addTap();
  const auto runFor = [&](double seconds) {
    for (int cycle = 0; cycle < int(seconds * 100); ++cycle) {
      hostTime += 10'000'000;
      capture(*tap, std::vector<float>(960));
      render(480);
    }
  };
  runFor(2);
  EXPECT_EQ(tap->leftOutFrames(), 0);
  hostTime += 100'000'000;
  capture(*tap, std::vector<float>(9600));
  runFor(0.5);
  EXPECT_EQ(tap->ring.available(), 9600);
  runFor(1.5);
  EXPECT_EQ(tap->ring.available(), kTrimReserveSamples);
  EXPECT_EQ(tap->ring.reader().skipped, 9600 - kTrimReserveSamples);
}

TEST_F(VolumeMixerRenderTest, TheMasterLimiterRunsOnlyAboveAHundredPercentOrBehindTheEqualiser) {
  addTap();
  addTap();
  const std::vector<float> loud(200, 0.8f);
  for (const auto& tap : taps) capture(*tap, loud);
  EXPECT_EQ(render(100), std::vector<float>(200, 1.6f));

  context.masterVolume = 2.0f;
  for (const auto& tap : taps) capture(*tap, loud);
  for (const float sample : render(100)) EXPECT_EQ(sample, 1.0f);
  EXPECT_LT(context.masterLimiterGain, 1.0f);

  // Silence brings the gain back in one step, and a gain next to 1 is left alone.
  const float gain = context.masterLimiterGain;
  render(64);
  EXPECT_EQ(context.masterLimiterGain, (gain - 1.0f) * std::pow(kRelease, 64.0f) + 1.0f);
  const float near = 1.0f - 0.8e-5f, apart = 1.0f - 2e-5f;
  context.masterLimiterGain = near;
  render(64);
  EXPECT_EQ(context.masterLimiterGain, near);
  context.masterLimiterGain = apart;
  render(64);
  EXPECT_GT(context.masterLimiterGain, apart);
}

TEST_F(VolumeMixerRenderTest, AnEmptySnapshotIsSilentAndTheOutputEqualiserRingsOut) {
  context.outputEQCoefficients.copy(coefficients48k({.isEnabled = true, .paraGain = 12}));
  context.outputEQEnabled = true;
  const auto tap = addTap();
  capture(*tap, noise(200));
  render(100);
  taps.clear();
  context.tapsSnapshot.publish(std::make_shared<VolumeMixerSnapshot>(), retirement, kSnapshotGrace);
  const auto tail = render(100);
  EXPECT_NE(tail, std::vector<float>(200, 0.0f));
}

TEST_F(VolumeMixerRenderTest, ATapStartsAtTheLiveEdge) {
  const auto tap = addTap(false);
  capture(*tap, std::vector<float>(400, 0.5f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.0f));
  EXPECT_EQ(tap->ring.available(), 0);
  EXPECT_EQ(tap->ring.reader().reads, 0);
  capture(*tap, std::vector<float>(200, 0.25f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.25f));
  EXPECT_EQ(tap->ring.reader().skipped, 400);
}

TEST_F(VolumeMixerRenderTest, ShortPullsWaitAndAreCountedByTheirCause) {
  const auto tap = addTap();
  render(100);  // nothing yet: not counted
  EXPECT_EQ(tap->ring.reader().starves + tap->ring.reader().underruns, 0);
  capture(*tap, std::vector<float>(200, 0.5f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.5f));
  render(100);
  EXPECT_EQ(tap->ring.reader().starves, 1);
  capture(*tap, std::vector<float>(120, 0.5f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.0f));
  EXPECT_EQ(tap->ring.reader().underruns, 1);
  EXPECT_EQ(tap->ring.available(), 120) << "a short pull takes nothing";
  capture(*tap, std::vector<float>(180, 0.5f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.5f));

  const TapLatencyStats stats = tap->latencyStats();
  EXPECT_EQ(stats, (TapLatencyStats{"app 0", 100, 100, 1, 1, 0, 2, 180, 200}));
}

TEST_F(VolumeMixerRenderTest, AWriteThatLapsIsCountedAndGoesAhead) {
  const auto tap = addTap();
  for (int i = 0; i < 5; ++i) capture(*tap, noise(9600));
  EXPECT_EQ(tap->ring.writer.overflows, 1) << "the fifth write fills the ring, which then reads as empty";
  EXPECT_EQ(tap->ring.available(), 0);
  EXPECT_EQ(tap->ring.lapped(), kTapRingSamples);
  tap->ring.requests.startLive = true;
  for (int i = 0; i < 5; ++i) capture(*tap, noise(9600));
  EXPECT_EQ(tap->ring.writer.overflows, 1) << "nobody reads before the start";
}

TEST_F(VolumeMixerRenderTest, AMutedTapTakesInNothingAndGivesNothing) {
  const auto tap = addTap();
  capture(*tap, std::vector<float>(200, 0.5f));
  tap->isMuted = true;
  capture(*tap, std::vector<float>(200, 0.6f));
  EXPECT_EQ(render(50), std::vector<float>(100, 0.0f));
  EXPECT_EQ(tap->ring.available(), 200);
  // Unmuting begins with what comes from now on.
  tap->ring.requests.startLive = true;
  tap->isMuted = false;
  capture(*tap, std::vector<float>(200, 0.7f));
  EXPECT_EQ(render(50), std::vector<float>(100, 0.0f));
  capture(*tap, std::vector<float>(100, 0.8f));
  EXPECT_EQ(render(50), std::vector<float>(100, 0.8f));
}

TEST_F(VolumeMixerRenderTest, VolumeZeroDrainsTheRing) {
  const auto tap = addTap();
  tap->volume = 0.0f;
  capture(*tap, std::vector<float>(200, 0.5f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.0f));
  tap->volume = 1.0f;
  capture(*tap, std::vector<float>(200, 0.25f));
  EXPECT_EQ(render(100), std::vector<float>(200, 0.25f));
}

TEST_F(VolumeMixerRenderTest, ABlockThatIsTooLongIsSilentAndTakesNothing) {
  const auto tap = addTap();
  capture(*tap, noise(10000));
  EXPECT_EQ(render(4097), std::vector<float>(2 * 4097, 0.0f));
  EXPECT_EQ(tap->ring.available(), 10000);
  render(4096);
  EXPECT_EQ(tap->ring.available(), 10000 - 8192);
}

TEST_F(VolumeMixerRenderTest, BuffersWithoutDataArePassedOverAndRetiredContextsReadNothing) {
  const auto tap = addTap();
  capture(*tap, std::vector<float>(200, 0.5f));
  std::vector<float> out(200, 7.0f);
  AudioBuffer buffers[] = {{2, 800, nullptr}, {2, 800, out.data()}};
  renderVolumeMixer(static_cast<RenderContext*>(&context), {}, 100, buffers);
  EXPECT_EQ(out, std::vector<float>(200, 0.5f));
  capture(*tap, std::vector<float>(200, 0.5f));
  context.retired = true;
  EXPECT_EQ(render(100), std::vector<float>(200, 0.0f));
  EXPECT_EQ(tap->ring.available(), 200);
}

// Each spectrum shows the signal behind its equaliser and before any gain.
TEST_F(VolumeMixerRenderTest, SpectraAreFedOnlyWhileShown) {
  const auto tap = addTap();
  tap->volume = 0.5f;
  capture(*tap, std::vector<float>(200, 0.5f));
  render(100);
  EXPECT_EQ(tap->spectrum.writePos, 0);
  flags.spectrumVisible = true;
  flags.equaliserAvailable = true;
  capture(*tap, std::vector<float>(200, 0.5f));
  render(100);
  EXPECT_EQ(tap->spectrum.writePos, 100);
  EXPECT_EQ(tap->spectrum.samples[99], 0.5f);
  EXPECT_EQ(context.outputFFTBuffer.samples[99], 0.25f);
}

}  // namespace
}  // namespace sonmere
