#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>

#include "base/VirtualRuntime.h"
#include "dsp/Limiter.h"
#include "routing/BusRender.h"
#include "routing/RoutingCore.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

constexpr float kAttack = kLimiterRates48k.attack, kRelease = kLimiterRates48k.release;

// Bends the signal, so that its place in the chain shows.
struct SquareEffect final : Effect {
  OSStatus render(double, std::uint32_t frames, const float* const input[2],
                  float* const output[2]) noexcept SONMERE_NONBLOCKING override {
    for (int side = 0; side < 2; ++side)
      for (std::uint32_t i = 0; i < frames; ++i) output[side][i] = input[side][i] * input[side][i];
    return noErr;
  }
  double latency() const noexcept override { return 0; }
  Outcome<std::string> fullState() const override { return std::string(); }
};

// Adds a constant; fails when told to.
struct OffsetEffect final : Effect {
  explicit OffsetEffect(float amount) : offset(amount) {}
  OSStatus render(double time, std::uint32_t frames, const float* const input[2],
                  float* const output[2]) noexcept SONMERE_NONBLOCKING override {
    lastTime = time;
    ++calls;
    if (failing) return -1;
    for (int side = 0; side < 2; ++side)
      for (std::uint32_t i = 0; i < frames; ++i) output[side][i] = input[side][i] + offset;
    return noErr;
  }
  double latency() const noexcept override { return 0.01; }
  Outcome<std::string> fullState() const override { return std::string(); }

  float offset;
  bool failing = false;
  int calls = 0;
  double lastTime = 0;
};

class BusRenderTest : public testing::Test {
 protected:
  ~BusRenderTest() override { EXPECT_REALTIME_SAFE(guard); }

  std::shared_ptr<SingleAppTap> addTap(int bus = 2) {
    auto tap = std::make_shared<SingleAppTap>(ProcessID(taps.size() + 1), std::vector<AudioObjectID>{1},
                                              "app", flags);
    tap->busIndex = bus;
    taps.push_back(tap);
    publishTaps();
    return tap;
  }
  void publishTaps() {
    auto lists = std::make_shared<BusTapLists>();
    for (const auto& each : taps) lists->buses[std::size_t(each->busIndex)].push_back(each);
    state->activeTapsByBus.publish(std::move(lists), retirement, kSnapshotGrace);
  }
  static void feed(SingleAppTap& tap, const std::vector<float>& samples) {
    tap.ring.writer.write(samples.data(), std::int64_t(samples.size()));
  }
  std::vector<float> noise(std::size_t samples, float loudness = 1) {
    std::uniform_real_distribution<float> distribution(-loudness, loudness);
    std::vector<float> result(samples);
    for (auto& sample : result) sample = distribution(random);
    return result;
  }
  std::vector<float> render(std::uint32_t frames) {
    std::vector<float> out(2 * std::size_t(frames), 7.0f);
    AudioBuffer buffer{2, std::uint32_t(out.size() * 4), out.data()};
    EXPECT_EQ(renderBus(static_cast<RenderContext*>(&context), {0, hostTime}, frames, {&buffer, 1}), noErr);
    return out;
  }
  // Cycles of 10 ms, one after the other; each brings a block to the ring and takes one.
  void runFor(SingleAppTap& tap, double seconds) {
    for (int cycle = 0; cycle < int(seconds * 100); ++cycle) {
      hostTime += 10'000'000;
      feed(tap, std::vector<float>(960));
      render(480);
    }
  }
  static std::shared_ptr<PluginChainSnapshot> chain(std::vector<std::shared_ptr<Effect>> effects) {
    auto snapshot = std::make_shared<PluginChainSnapshot>();
    snapshot->scratch = std::make_shared<PluginRenderScratch>();
    for (auto& effect : effects)
      snapshot->plugins.push_back(std::make_shared<HostedPlugin>(AvailableEffect{}, effect, 48000.0));
    return snapshot;
  }
  BusMaster& master() { return state->masters[2]; }

  RealtimeGuard guard;
  VirtualRuntime runtime{1};
  RenderRetirement retirement{runtime};
  RenderFlags flags;
  MicSend mic;
  std::uint64_t hostTime = 0;  // ns
  std::shared_ptr<BusRenderState> state = std::make_shared<BusRenderState>(flags, mic);
  OutputAUContext context{state, 2, 48000};
  std::vector<std::shared_ptr<SingleAppTap>> taps;
  std::mt19937 random{11};
};

// Up to 100 % a volume is the gain of the sum, above it one in front of the limiter; the monitor hears
// neither.
TEST_F(BusRenderTest, AVolumeIsAGainAndTheMonitorHearsTheAppBeforeIt) {
  const auto tap = addTap();
  const auto quiet = noise(512, 0.2f);
  tap->monitor.setEnabled(true);
  StereoRing& monitor = *tap->monitor.ring();
  std::vector<float> heard(quiet.size());
  monitor.reader().startIfAsked(0);
  for (const float volume : {0.0f, 0.5f, 1.0f, 1.05f, 1.25f, 1.5f, 4.0f}) {
    tap->volume = volume;
    feed(*tap, quiet);
    const auto out = render(256);
    ASSERT_TRUE(monitor.reader().pull(heard.data(), std::int64_t(heard.size()), 48000)) << volume;
    for (std::size_t i = 0; i < quiet.size(); ++i) {
      ASSERT_EQ(out[i], quiet[i] * volume) << volume;
      ASSERT_NEAR(heard[i], quiet[i], 1e-6f) << volume;
    }
  }
}

// Every stage at once, effects that bend and the mic send among them, against separate plain loops, over
// blocks of random size.
TEST_F(BusRenderTest, TheWholeChainEqualsPlainLoopsBitForBit) {
  const AppEQSettings tapEQ{.isEnabled = true, .highPassFreq = 80, .paraFreq = 900, .paraGain = 6};
  const AppEQSettings masterEQ{.isEnabled = true, .lowPassFreq = 8000, .paraFreq = 200, .paraGain = -4};
  const auto boosted = addTap(), limited = addTap();
  boosted->eqCoefficients.copy(coefficients48k(tapEQ));
  boosted->eqEnabled = true;
  boosted->volume = 2.0f;
  limited->volume = 0.5f;
  limited->limiterEnabled = true;
  limited->limiterCeiling = limiterCeiling(-6);
  boosted->pluginChain.publish(chain({std::make_shared<SquareEffect>()}), retirement,
                               PluginChainSnapshot::kGrace);
  master().pluginChain.publish(chain({std::make_shared<SquareEffect>()}), retirement,
                               PluginChainSnapshot::kGrace);
  mic.active = true;
  mic.captureRate = 48000;
  mic.gains[2] = 0.5f;
  const auto voice = noise(mic.ring.size());
  std::ranges::copy(voice, mic.ring.begin());
  std::size_t spoken = 0;
  master().eqCoefficients.publish(std::make_shared<const EQCoefficients>(coefficients48k(masterEQ)),
                                  retirement, kSnapshotGrace);
  master().eqEnabled = true;
  master().limiterEnabled = true;
  master().limiterCeiling = limiterCeiling(-1);

  reference::EqualiserState tapState, masterState;
  float boostedGain = 1, limitedGain = 1, masterGain = 1;
  for (int round = 0; round < 200; ++round) {
    const std::size_t frames = 1 + random() % 1500;
    auto first = noise(2 * frames), second = noise(2 * frames, 0.9f);
    feed(*boosted, first);
    feed(*limited, second);
    mic.writePos.storeRelease(std::int64_t(4 * (spoken + 2 * frames)) % MicSend::kRingBytes);
    const auto out = render(std::uint32_t(frames));

    for (auto& sample : first) sample *= sample;
    reference::equalise(coefficients48k(tapEQ), tapState, first.data(), frames);
    for (auto& sample : first) sample *= 2.0f;
    boostedGain = reference::limit(first.data(), frames, 1.0f, boostedGain, kAttack, kRelease);
    limitedGain = reference::limit(second.data(), frames, limiterCeiling(-6), limitedGain, kAttack, kRelease);
    std::vector<float> expected(2 * frames);
    for (std::size_t i = 0; i < expected.size(); ++i)
      expected[i] = (0.0f + first[i] * 1.0f) + second[i] * 0.5f;
    for (auto& sample : expected) sample += voice[spoken++ % voice.size()] * 0.5f;
    for (auto& sample : expected) sample *= sample;
    reference::equalise(coefficients48k(masterEQ), masterState, expected.data(), frames);
    masterGain = reference::limit(expected.data(), frames, limiterCeiling(-1), masterGain, kAttack, kRelease);
    ASSERT_EQ(std::memcmp(out.data(), expected.data(), 4 * out.size()), 0) << "round " << round;
  }
  EXPECT_EQ(boosted->ring.reader().reads, 200);
  EXPECT_GT(guard.scopesEntered(), 0);
}

// More taps than run side by side, each with effects of its own, that join, leave and run dry, on all the
// kernels that this processor has.
TEST_F(BusRenderTest, AnyMixOfTapsEqualsPlainLoopsOnEveryTarget) {
  struct Reference {
    reference::EqualiserState state;
    EQCoefficients coefficients{};
    float gain = 1;
  };
  std::map<SingleAppTap*, Reference> references;
  const EQCoefficients masterEQ = coefficients48k({.isEnabled = true, .highPassFreq = 60, .paraGain = 3});
  master().eqCoefficients.publish(std::make_shared<const EQCoefficients>(masterEQ), retirement,
                                  kSnapshotGrace);
  reference::EqualiserState masterState;
  for (int round = 0; round < 600; ++round) {
    const auto targets = availableKernels();
    chooseKernels(targets[random() % targets.size()]);
    const bool isJoined = taps.size() < 20 && random() % 4 == 0;
    if (isJoined) addTap();
    if (isJoined || (!taps.empty() && random() % 5 == 0)) {
      SingleAppTap& tap = isJoined ? *taps.back() : *taps[random() % taps.size()];
      references[&tap].coefficients =
          coefficients48k({.isEnabled = true, .highPassFreq = 20 + double(random() % 900), .paraGain = 9});
      tap.eqCoefficients.copy(references[&tap].coefficients);
    }
    if (taps.size() > 1 && random() % 9 == 0)
      taps.erase(taps.begin() + std::ptrdiff_t(random() % taps.size()));
    publishTaps();
    master().eqEnabled = random() % 2 == 0;
    master().limiterEnabled = random() % 2 == 0;
    const std::size_t frames = 1 + random() % (round % 10 == 0 ? 4096 : 400);
    std::vector<float> expected(2 * frames);
    for (const auto& tap : taps) {
      tap->eqEnabled = random() % 3 != 0;
      tap->limiterEnabled = random() % 3 != 0;
      tap->limiterCeiling = 0.5f;
      tap->volume = float(random() % 5) * 0.5f;
      if (random() % 6 == 0) continue;
      auto block = noise(2 * frames, 0.7f);
      feed(*tap, block);
      Reference& plain = references[tap.get()];
      if (tap->eqEnabled) reference::equalise(plain.coefficients, plain.state, block.data(), frames);
      const float volume = tap->volume;
      if (volume > 1)
        for (float& sample : block) sample *= volume;
      if (volume > 1 || tap->limiterEnabled)
        plain.gain = reference::limit(block.data(), frames, tap->limiterEnabled ? 0.5f : 1.0f, plain.gain,
                                      kAttack, kRelease);
      for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] = expected[i] + block[i] * std::min(volume, 1.0f);
    }
    if (taps.empty()) continue;
    if (master().eqEnabled) reference::equalise(masterEQ, masterState, expected.data(), frames);
    if (master().limiterEnabled)
      reference::limit(expected.data(), frames, 1.0f, master().limiterGain, kAttack, kRelease);
    const auto out = render(std::uint32_t(frames));
    ASSERT_EQ(std::memcmp(out.data(), expected.data(), 4 * out.size()), 0)
        << "round " << round << " on " << kernels().target << ", " << taps.size() << " taps";
  }
  chooseKernels(nullptr);
}

// A limiter would turn what is no number into its ceiling.
TEST_F(BusRenderTest, ALimiterBesideATapThatIsNoNumberLeavesThatAlone) {
  for (const Kernels* target : availableKernels()) {
    chooseKernels(target);
    taps.clear();
    const auto broken = addTap(), loud = addTap();
    broken->eqEnabled = loud->eqEnabled = loud->limiterEnabled = true;
    for (const auto& tap : taps) tap->eqCoefficients.copy(coefficients48k({.isEnabled = true}));
    publishTaps();
    auto block = noise(128);
    block[0] = std::numeric_limits<float>::quiet_NaN();
    feed(*broken, block);
    feed(*loud, std::vector<float>(128, 4.0f));
    EXPECT_TRUE(std::isnan(render(64)[126])) << target->target;
    EXPECT_LT(float(loud->limiterGain), 1.0f) << target->target;
  }
  chooseKernels(nullptr);
}

// One sample that is no number costs its channel one block of each equaliser that it passes, and others
// nothing.
TEST_F(BusRenderTest, EqualisersRecoverFromWhatIsNoNumberAtTheNextBlock) {
  const EQCoefficients coefficients = coefficients48k({.isEnabled = true, .highPassFreq = 70, .paraGain = 4});
  for (const Kernels* target : availableKernels())
    for (const std::size_t count : {1u, 5u})
      for (const float poison :
           {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity(), 3e38f}) {
        SCOPED_TRACE(std::string(target->target) + " " + std::to_string(count));
        chooseKernels(target);
        taps.clear();
        std::vector<reference::EqualiserState> states(count);
        for (std::size_t i = 0; i < count; ++i) {
          addTap()->eqCoefficients.copy(coefficients);
          taps[i]->eqEnabled = true;
        }
        master().eqCoefficients.publish(std::make_shared<const EQCoefficients>(coefficients), retirement,
                                        kSnapshotGrace);
        master().eqEnabled = true;
        master().eqDelays.zeroFill();
        reference::EqualiserState sumState;
        for (int round = 0; round < 6; ++round) {
          std::vector<float> expected(128);
          for (std::size_t i = 0; i < count; ++i) {
            auto block = noise(128);
            if (round == 2 && i == 0) block[40] = poison;
            feed(*taps[i], block);
            reference::equalise(coefficients, states[i], block.data(), 64);
            for (std::size_t k = 0; k < 128; ++k) expected[k] += block[k];
          }
          reference::equalise(coefficients, sumState, expected.data(), 64);
          const auto out = render(64);
          for (std::size_t k = 0; k < 128; ++k) {
            if (round == 2 && k % 2 == 0) continue;
            ASSERT_EQ(out[k], expected[k]) << round << " " << k;
          }
        }
      }
  chooseKernels(nullptr);
}

TEST_F(BusRenderTest, AShortTapIsLeftOutWholeAndKeepsWhatItHas) {
  const auto tap = addTap();
  feed(*tap, noise(100));
  EXPECT_EQ(reference::peakOf(render(64).data(), 128), 0);
  EXPECT_EQ(tap->ring.reader().misses(), 0) << "the wait for the first audio is no underrun";
  EXPECT_EQ(tap->ring.available(), 100);
  feed(*tap, noise(28));
  EXPECT_GT(reference::peakOf(render(64).data(), 128), 0);
  EXPECT_EQ(tap->ring.reader().lastBacklog, 0);
  render(64);
  EXPECT_EQ(tap->ring.reader().misses(), 1);
}

TEST_F(BusRenderTest, ATrimKeepsOneBlockAndAReserveAndIsUsedUp) {
  const auto tap = addTap();
  tap->ring.requests.startLive = false;
  tap->ring.requests.trim = true;
  feed(*tap, noise(128 + 256));
  render(64);
  EXPECT_EQ(tap->ring.available(), 256) << "a backlog that small is not cut";
  EXPECT_FALSE(tap->ring.requests.trim);
  feed(*tap, noise(5000));
  tap->ring.requests.trim = true;
  render(64);
  EXPECT_EQ(tap->ring.available(), 256);
  EXPECT_EQ(tap->ring.reader().skipped, 256 + 5000 - 384);
  feed(*tap, noise(5000));
  render(64);
  EXPECT_EQ(tap->ring.available(), 256 + 5000 - 128);
}

TEST_F(BusRenderTest, ATapThatWasNeverReadBeginsAtItsNewestBlock) {
  const auto tap = addTap();
  feed(*tap, noise(5000));
  render(64);
  EXPECT_EQ(tap->ring.available(), 0);
  EXPECT_EQ(tap->ring.reader().skipped, 5000 - 128);
  feed(*tap, noise(5000));
  render(64);
  EXPECT_EQ(tap->ring.available(), 5000 - 128) << "only once";
}

TEST_F(BusRenderTest, WhatMissedCyclesLeaveInTheRingIsDroppedWithinTwoSeconds) {
  const auto tap = addTap();
  runFor(*tap, 2);
  feed(*tap, std::vector<float>(9600));  // so much drift: nothing was missed
  runFor(*tap, 5);
  EXPECT_EQ(tap->ring.available(), 9600);
  hostTime += 100'000'000;
  feed(*tap, std::vector<float>(9600));
  runFor(*tap, 0.5);
  EXPECT_EQ(tap->ring.available(), 19200) << "not before it has shown that nobody needs it";
  runFor(*tap, 1.5);
  EXPECT_EQ(tap->ring.available(), kTrimReserveSamples);
  EXPECT_EQ(tap->ring.reader().skipped, 19200 - kTrimReserveSamples);

  // A path that missed one cycle keeps the quantum that it may need again.
  render(480);
  feed(*tap, std::vector<float>(960 + 960 - kTrimReserveSamples));
  runFor(*tap, 3);
  EXPECT_GE(tap->ring.available(), 960);
}

TEST_F(BusRenderTest, BlocksThatAreTooLongOrOfRetiredUnitsStaySilentAndReadNothing) {
  const auto tap = addTap();
  feed(*tap, noise(12000));
  EXPECT_EQ(reference::peakOf(render(4097).data(), 8194), 0);
  context.retired = true;
  EXPECT_EQ(reference::peakOf(render(64).data(), 128), 0);
  context.retired = false;
  {
    const RenderClaim::Hold other(tap->claim);
    EXPECT_EQ(reference::peakOf(render(64).data(), 128), 0) << "another unit still works on the tap";
  }
  AudioBuffer nowhere{2, 512, nullptr};
  EXPECT_EQ(renderBus(static_cast<RenderContext*>(&context), {}, 64, {&nowhere, 1}), noErr);
  EXPECT_EQ(tap->ring.available(), 12000);
  EXPECT_GT(reference::peakOf(render(4096).data(), 8192), 0);

  state->engineAlive = false;
  EXPECT_EQ(render(64).front(), 7.0f) << "without an engine the buffers stay as they are";
}

TEST_F(BusRenderTest, MonitorsHearTheAppBeforeItsVolumeAndTheMasterChainAfterIt) {
  const auto tap = addTap();
  tap->monitor.setEnabled(true);
  tap->monitorVolume = 0.8f;
  tap->volume = 2.0f;
  master().monitor.setEnabled(true);
  master().limiterEnabled = true;
  master().limiterCeiling = 0.75f;
  auto ring = std::make_shared<RecorderRing>();
  master().recorder.publish(ring, retirement, kSnapshotGrace);
  flags.spectrumVisible = true;
  flags.equaliserAvailable = true;
  feed(*tap, {0.25f, -0.25f, 0.5f, 0.1f});
  const auto out = render(2);
  EXPECT_EQ(out[2], 0.75f) << "the master's limiter works";
  EXPECT_LT(out[3], 0.2f);
  const float* heard = tap->monitor.ring()->data();
  EXPECT_FLOAT_EQ(heard[0], 0.25f * 0.8f) << "the boost is taken back";
  EXPECT_EQ(tap->monitor.ring()->writer.written, 4);
  EXPECT_EQ(std::memcmp(master().monitor.ring()->data(), out.data(), 16), 0);
  EXPECT_EQ(std::memcmp(ring->buffer.get(), out.data(), 16), 0);
  EXPECT_EQ(ring->written.loadRelaxed(), 4);
  EXPECT_EQ(master().spectrum.samples[1], (out[2] + out[3]) * 0.5f);

  flags.monitorsFollowVolume = true;
  tap->volume = 0.5f;
  feed(*tap, {0.25f, -0.25f});
  render(1);
  EXPECT_FLOAT_EQ(heard[4], 0.125f);
  // A buffer of an odd number of samples records whole frames only.
  feed(*tap, {1, 1, 1});
  std::vector<float> odd(3);
  AudioBuffer buffer{2, 12, odd.data()};
  renderBus(static_cast<RenderContext*>(&context), {}, 2, {&buffer, 1});
  EXPECT_EQ(ring->written.loadRelaxed(), 8);
}

TEST_F(BusRenderTest, ARecorderIsToldTheFramesOfCyclesThatTheServerLeftOut) {
  const auto tap = addTap();
  runFor(*tap, 1);
  const auto ring = std::make_shared<RecorderRing>();
  hostTime += 500'000'000;  // before the recording begins
  master().recorder.publish(ring, retirement, kSnapshotGrace);
  runFor(*tap, 1);
  EXPECT_EQ(ring->missedFrames, 0);
  hostTime += 30'000'000;
  runFor(*tap, 1);
  EXPECT_EQ(ring->missedFrames, 3 * 480);
  hostTime += 3'000'000;  // a late cycle is none that was left out
  runFor(*tap, 1);
  EXPECT_EQ(ring->missedFrames, 3 * 480);
  EXPECT_EQ(ring->written.loadRelaxed(), 2 * 3 * 48000);
  EXPECT_EQ(tap->leftOutFrames(), 24000 + 3 * 480) << "of the app, since its tap began";
}

TEST_F(BusRenderTest, ASilentBusLetsItsLimiterRecoverInOneStep) {
  const auto tap = addTap();
  master().limiterEnabled = true;
  master().limiterGain = 0.5f;
  feed(*tap, std::vector<float>(1024));
  EXPECT_EQ(reference::peakOf(render(512).data(), 1024), 0);
  EXPECT_EQ(master().limiterGain, (0.5f - 1.0f) * std::pow(kRelease, 512.0f) + 1.0f);
}

TEST_F(BusRenderTest, TheMicIsMixedOnlyAtTheUnitsRate) {
  for (std::size_t i = 0; i < mic.ring.size(); ++i) mic.ring[i] = float(i);
  mic.active = true;
  mic.captureRate = 48000;
  mic.writePos.storeRelease(4 * 1000);
  mic.gains[2] = MicSend::kAudibleGain;
  EXPECT_EQ(reference::peakOf(render(8).data(), 16), 0);
  EXPECT_EQ(mic.readPositions[2], 0) << "a send of exactly 0.001 is off";
  mic.gains[2] = 0.5f;
  const auto out = render(8);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(out[std::size_t(i)], float(i) * 0.5f);
  EXPECT_EQ(mic.readPositions[2], 64);
  mic.captureRate = 44100;
  EXPECT_EQ(reference::peakOf(render(8).data(), 16), 0);
  EXPECT_EQ(mic.readPositions[2], 64);
  mic.captureRate = 48000.9;
  mic.writePos.storeRelease(64 + 32768 + 4);
  EXPECT_EQ(render(8)[0], (float(64 + 32768 + 4) / 4 - 16) * 0.5f) << "too far behind: one block is kept";
  EXPECT_EQ(mic.readPositions[2], 64 + 32768 + 4);
  EXPECT_EQ(reference::peakOf(render(8).data(), 16), 0) << "nothing new";
}

TEST_F(BusRenderTest, EffectsRunInTurnAndBypassThemselvesAfterAHundredFailures) {
  const auto tap = addTap();
  const auto first = std::make_shared<OffsetEffect>(0.5f), second = std::make_shared<OffsetEffect>(0.25f);
  const auto onBus = std::make_shared<OffsetEffect>(1.0f);
  tap->pluginChain.publish(chain({first, second}), retirement, PluginChainSnapshot::kGrace);
  tap->volume = 0.5f;
  master().pluginChain.publish(chain({onBus}), retirement, PluginChainSnapshot::kGrace);
  const auto block = [&] {
    feed(*tap, {0.25f, 0.5f, 0.75f, 1.0f});
    return render(2);
  };
  EXPECT_EQ(block(), (std::vector<float>{1.5f, 1.625f, 1.75f, 1.875f}));
  block();
  EXPECT_EQ(second->lastTime, 2);

  first->failing = true;
  for (int i = 0; i < 99; ++i) block();
  first->failing = false;
  block();
  const auto& hosted = *tap->pluginChain.current()->plugins[0];
  EXPECT_EQ(hosted.consecutiveRenderErrors, 0);
  EXPECT_FALSE(hosted.autoBypassed);
  first->failing = true;
  for (int i = 0; i < 100; ++i) block();
  EXPECT_TRUE(hosted.autoBypassed);
  const int calls = first->calls;
  EXPECT_EQ(block()[0], (0.25f + 0.25f) * 0.5f + 1.0f);
  EXPECT_EQ(first->calls, calls);
  EXPECT_EQ(hosted.latencyFrames(), 480);
}

TEST_F(BusRenderTest, AChainLeavesBlocksBeyondItsPlanesAlone) {
  auto effects = chain({std::make_shared<OffsetEffect>(1.0f)});
  std::vector<float> block(2 * 4097);
  const RealtimeScope scope;
  effects->render(block.data(), 4097);
  EXPECT_EQ(block[0], 0);
  effects->render(block.data(), 0);
  EXPECT_EQ(block[0], 0);
  effects->render(block.data(), 4096);
  EXPECT_EQ(block[0], 1);
  EXPECT_EQ(block[8192], 0);
}

}  // namespace
}  // namespace sonmere
