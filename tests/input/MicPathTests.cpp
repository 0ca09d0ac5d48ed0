// What the two callbacks make of the microphone's sound, held to plain loops and to the rules of the ring.
#include <gtest/gtest.h>

#include <random>

#include "InputWorld.h"
#include "support/RealtimeGuard.h"
#include "support/ReferenceDSP.h"

namespace sonmere {
namespace {

constexpr std::int64_t kBlock = 512;

// Voice-like: two tones of changing strength, different left and right.
std::vector<float> voice(double seconds) {
  std::vector<float> stereo;
  for (int i = 0; i < int(seconds * 48000); ++i) {
    const double swell = 0.5 + 0.5 * std::sin(i * 0.0007);
    stereo.push_back(float(0.8 * swell * std::sin(i * 0.031)));
    stereo.push_back(float(0.6 * swell * std::sin(i * 0.047)));
  }
  return stereo;
}

struct Reference {
  AppEQSettings equaliser;
  AppLimiterSettings limiter;
  float volume = 1;
  float extraGain = 0;  // channel 3, panned hard left

  // All of it in blocks of the device.
  std::vector<float> of(const std::vector<float>& in) const {
    std::vector<float> out = in;
    reference::EqualiserState state;
    const EQCoefficients c = coefficients(equaliser, 48000);
    float gain = 1;
    const float attack = std::exp(-1.0f / (0.005f * 48000)), release = std::exp(-1.0f / (0.05f * 48000));
    for (std::size_t at = 0; at + 2 * kBlock <= out.size(); at += 2 * kBlock) {
      float* const block = out.data() + at;
      if (extraGain > 0)
        for (std::size_t i = 0; i < 2 * kBlock; i += 2) {
          block[i] = std::clamp(block[i] + in[at + i] * extraGain, -1.0f, 1.0f);
          block[i + 1] = std::clamp(block[i + 1], -1.0f, 1.0f);
        }
      if (equaliser.isEnabled) reference::equalise(c, state, block, kBlock);
      if (limiter.isEnabled)
        gain = reference::limit(block, kBlock, std::pow(10.0f, float(limiter.ceilingDb) / 20), gain, attack,
                                release);
      for (std::size_t i = 0; volume != 1 && i < 2 * kBlock; ++i)
        block[i] = std::clamp(block[i] * volume, volume > 1 ? -1.0f : -9.0f, volume > 1 ? 1.0f : 9.0f);
    }
    return out;
  }
};

// Frames that are not silent: until a block is in reserve the bridge may wait for one.
std::vector<float> soundOf(const std::vector<float>& stereo) {
  std::vector<float> sound;
  for (std::size_t i = 0; i + 1 < stereo.size(); i += 2)
    if (stereo[i] != 0 || stereo[i + 1] != 0) sound.insert(sound.end(), {stereo[i], stereo[i + 1]});
  return sound;
}

TEST(MicPath, TheBridgeHoldsTheVoiceWithEverythingThatIsSet) {
  const auto in = voice(4);
  Reference reference;
  reference.equaliser = {true, 120, 9000, 1500, 6, 1.2};
  reference.limiter = {true, -6};
  reference.volume = 1.25f;
  reference.extraGain = 0.5f;

  InputWorld world;
  world.plugInterface([&in] { return SampleSources::samples(in); });
  MicPassthroughEngine& engine = world.launch();
  ASSERT_TRUE(engine.select(InputWorld::kInterfaceUID));
  engine.setChannelMode(InputChannelMode::stereo);
  engine.setEqualiser(reference.equaliser);
  engine.setLimiter(reference.limiter);
  engine.setVolume(reference.volume);
  const std::string extra = engine.extras().add("Guitar", 2);
  engine.extras().change({extra, "Guitar", 2, reference.extraGain, false, -1});
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  const RealtimeGuard guard;
  engine.setEnabled(true);
  world.wait(3);
  EXPECT_REALTIME_SAFE(guard);

  const auto heard = soundOf(ear->samples()), expected = soundOf(reference.of(in));
  ASSERT_LT(heard.size(), expected.size());
  EXPECT_GT(heard.size(), 2 * 48000u * 2);
  EXPECT_TRUE(std::equal(heard.begin(), heard.end(), expected.begin()));
  EXPECT_GT(engine.extras().level(extra), 0.1f);
  EXPECT_LE(engine.renderState().counters.underruns + engine.renderState().counters.starves, 1);
  ASSERT_EQ(engine.latencyRings().size(), 1u);
  EXPECT_EQ(engine.latencyRings()[0].id, "mic→bridge");
  EXPECT_EQ(engine.latencyRings()[0].writeFrames, kBlock);
}

// The plain voice, in each way of taking channels.
TEST(MicPath, ChannelsAreTakenAsTheUserSays) {
  const auto in = voice(2);
  const struct {
    InputChannelMode mode;
    ChannelPair custom;
    int left, right;  // of the source: 0 left, 1 right
  } cases[] = {{InputChannelMode::input1, {}, 0, 0},      {InputChannelMode::input2, {}, 1, 1},
               {InputChannelMode::stereo, {}, 0, 1},      {InputChannelMode::custom, {3, 2}, 1, 0},
               {InputChannelMode::custom, {2, 99}, 0, 1}, {InputChannelMode::custom, {-1, 1}, 0, 1}};
  for (const auto& each : cases) {
    InputWorld world;
    world.plugInterface([&in] { return SampleSources::samples(in); });
    MicPassthroughEngine& engine = world.launch();
    ASSERT_TRUE(engine.select(InputWorld::kInterfaceUID));
    engine.setChannelMode(each.mode);
    engine.setCustomChannels(each.custom);
    engine.setEnabled(true);
    world.wait(0.5);
    const auto ear = world.host().readInput(InputWorld::kBridgeUID);
    world.wait(1);
    const auto heard = ear->samples();
    // Any frame tells where in the source it is: look for the one that both sides fit.
    const auto at = [&](std::size_t frame, int side) { return in[2 * frame + std::size_t(side)]; };
    std::size_t first = 0;
    while (first < 48000 && !(at(first, each.left) == heard[0] && at(first, each.right) == heard[1] &&
                              at(first + 1, each.left) == heard[2] && at(first + 1, each.right) == heard[3]))
      ++first;
    ASSERT_LT(first, 48000u) << int(each.mode);
    for (std::size_t i = 0; i < 40000; ++i) {
      ASSERT_EQ(heard[2 * i], at(first + i, each.left)) << int(each.mode) << " frame " << i;
      ASSERT_EQ(heard[2 * i + 1], at(first + i, each.right)) << int(each.mode) << " frame " << i;
    }
  }
}

// By its table, in steps that a person would make.
TEST(MicPath, AutomaticFollowsWhatIsPluggedIn) {
  AutoChannelChoice chooser;
  const auto follow = [&](float left, float right, int blocks) {
    std::vector<float> samples;
    for (int i = 0; i < kBlock; ++i) samples.insert(samples.end(), {left, right});
    for (int i = 0; i < blocks; ++i) chooser.follow({samples.data(), 2, kBlock}, meterDecay(kBlock, 48000));
    return chooser.choice;
  };
  using enum InputChannelMode;
  EXPECT_EQ(follow(0, 0, 10), stereo) << "silence decides nothing";
  EXPECT_EQ(follow(0.0019f, 0, 10), stereo);
  EXPECT_EQ(follow(0.02f, 0.0021f, 1), stereo) << "a tenth is in use";
  EXPECT_EQ(follow(0.3f, 0.01f, 1), input1);
  EXPECT_EQ(follow(0.3f, 0.14f, 1), input1) << "less than half is crosstalk";
  EXPECT_EQ(follow(0.3f, 0.16f, 1), stereo);
  EXPECT_EQ(follow(0, 0.5f, 1), stereo) << "the other's level is still held";
  EXPECT_EQ(follow(0, 0.5f, 300), input2);
  EXPECT_EQ(follow(0.5f, 0, 500), input1) << "from one to the other when the first falls silent";
  EXPECT_NEAR(meterDecay(33600, 48000), 0.5f, 1e-6f);
  EXPECT_EQ(meterDecay(480, 0), meterDecay(480, 48000));
}

TEST(MicPath, AChangeOfChannelsFadesOverOneBlock) {
  std::vector<float> samples;
  for (int i = 0; i < 100; ++i) samples.insert(samples.end(), {1.0f, -1.0f});
  std::vector<float> stereo(200);
  crossfadeChannels({samples.data(), 2, 100}, {0, 0}, {1, 0}, stereo.data());
  for (int i = 0; i < 100; ++i) {
    EXPECT_FLOAT_EQ(stereo[std::size_t(2 * i)], 1 - 2 * float(i + 1) / 100);
    EXPECT_EQ(stereo[std::size_t(2 * i + 1)], 1.0f);
  }
  // And the capture does it, once.
  InputWorld world;
  world.plugInterface([] { return SampleSources::samples(std::vector<float>(2 * 48000 * 3, 0.5f)); });
  MicPassthroughEngine& engine = world.run(InputWorld::kInterfaceUID);
  engine.extras().add("none", 0);  // clips, and so would show an overshoot
  world.wait(0.5);
  engine.setChannelMode(InputChannelMode::input2);
  world.wait(0.5);
  EXPECT_EQ(engine.renderState().lastMode, InputChannelMode::input2);
}

// Blocks of every size through the callback, as a unit would deliver them.
class BlockUnit final : public OutputUnit {
 public:
  std::uint64_t identifier() const override { return 1; }
  OSStatus setEnableIO(AudioScope, bool) override { return noErr; }
  OSStatus setCurrentDevice(AudioDeviceID) override { return noErr; }
  Result<AudioDeviceID> currentDevice() const override { return 1u; }
  OSStatus setStreamFormat(AudioScope, const AudioStreamFormat&) override { return noErr; }
  Result<AudioStreamFormat> hardwareFormat(AudioScope) const override { return AudioStreamFormat{48000, 2}; }
  OSStatus setChannelMap(std::vector<std::int32_t>) override { return noErr; }
  OSStatus setMaximumFramesPerSlice(std::uint32_t) override { return noErr; }
  OSStatus setRenderCallback(RenderCallback, void*) override { return noErr; }
  OSStatus setInputCallback(InputCallback, void*) override { return noErr; }
  OSStatus initialize() override { return noErr; }
  OSStatus uninitialize() override { return noErr; }
  OSStatus start() override { return noErr; }
  OSStatus stop() override { return noErr; }
  OSStatus render(const AudioTimeStamp&, std::uint32_t frames, AudioBufferList buffers) noexcept override {
    if (status != noErr) return status;
    for (std::uint32_t i = 0; i < frames * buffers[0].channels; ++i)
      buffers[0].data[i] = float(++count % 65536) / 65536;
    return noErr;
  }
  OSStatus status = noErr;
  std::int64_t count = 0;
};

struct CallbackWorld {
  MicSend send;
  std::shared_ptr<MicRenderState> state = std::make_shared<MicRenderState>(send);
  BlockUnit unit;
  MicCaptureContext capture{state, 2, 48000};
  MicBridgeContext bridge{state, 48000};
  std::vector<float> out = std::vector<float>(2 * 16384);

  CallbackWorld() {
    capture.unit = &unit;
    state->mode = std::uint8_t(InputChannelMode::stereo);
  }
  OSStatus deliver(std::uint32_t frames) {
    return micInputCallback(static_cast<RenderContext*>(&capture), {}, 0, frames);
  }
  void take(std::uint32_t frames) {
    AudioBuffer buffer{2, frames * 8, out.data()};
    micBridgeCallback(static_cast<RenderContext*>(&bridge), {}, frames, {&buffer, 1});
  }
  std::int64_t backlog() const {
    return (send.writePos.loadRelaxed() - state->bridgeReadPos.loadRelaxed() + MicSend::kRingBytes) %
           MicSend::kRingBytes;
  }
};

TEST(MicPath, BlocksOfAnySizeAndErrorsOfTheUnit) {
  CallbackWorld world;
  const RealtimeGuard guard;
  EXPECT_EQ(world.deliver(100), noErr);
  EXPECT_EQ(world.send.writePos.loadRelaxed(), 800);
  EXPECT_EQ(world.deliver(9000), noErr);
  EXPECT_EQ(world.state->counters.lastWriteBytes, MicSend::kRingBytes) << "a ring's worth of it";
  EXPECT_EQ(world.state->counters.overflows, 1);
  EXPECT_EQ(world.deliver(16385), noErr);
  EXPECT_EQ(world.state->counters.oversizeBlocks, 1);
  EXPECT_EQ(world.state->counters.writeCount, 2);
  world.unit.status = -7;
  EXPECT_EQ(world.deliver(100), -7);
  EXPECT_EQ(world.state->counters.lastRenderError, -7);
  EXPECT_EQ(world.state->counters.goodRenders, 2);
  EXPECT_EQ(world.state->counters.firstFrames, 100u);
  EXPECT_EQ(world.state->counters.lastFrames, 100u);
  EXPECT_REALTIME_SAFE(guard);
  // Nothing runs behind a closed gate.
  VirtualRuntime runtime(1);
  EXPECT_TRUE(world.capture.gate.close(runtime, Duration::zero()));
  world.unit.status = noErr;
  world.deliver(100);
  EXPECT_EQ(world.state->counters.goodRenders, 2);
}

TEST(MicPath, TheBridgeTakesWholeBlocksOrNone) {
  CallbackWorld world;
  world.take(256);
  EXPECT_EQ(world.state->counters.starves, 0) << "the wait for the first sound is no fault";
  world.deliver(300);
  world.take(256);
  EXPECT_EQ(world.out[0], 1.0f / 65536);
  EXPECT_EQ(world.out[511], 512.0f / 65536);
  EXPECT_EQ(world.backlog(), 44 * 8);
  EXPECT_EQ(world.state->counters.backlogBytes, 44 * 8);
  world.take(256);
  EXPECT_EQ(world.out[0], 0.0f);
  EXPECT_EQ(world.backlog(), 44 * 8) << "a short read leaves the position";
  EXPECT_EQ(world.state->counters.starves, 1) << "nothing came";
  world.deliver(10);
  world.take(256);
  EXPECT_EQ(world.state->counters.underruns, 1) << "too little came";
  EXPECT_EQ(world.state->counters.reads, 1);
}

// Two clocks that drift apart: only a converted path trims, in steps, and in one jump when it is far behind.
TEST(MicPath, AConvertedPathGivesUpWhatGathers) {
  CallbackWorld plain;
  for (int i = 0; i < 20; ++i) plain.deliver(300);
  plain.take(256);
  EXPECT_EQ(plain.backlog(), (20 * 300 - 256) * 8);

  CallbackWorld world;
  world.state->isConverted = true;
  const std::int64_t target = 256 * 8 + 8 * 300 + 2048;
  for (int i = 0; i < 10; ++i) world.deliver(300);
  std::int64_t before = world.backlog();
  world.take(256);
  EXPECT_EQ(before - world.backlog(), 256 * 8 + 256) << "a step of 256 bytes";
  while (before = world.backlog(), before - 2048 > target + 256) {
    world.take(256);
    ASSERT_LT(world.backlog(), before);
  }
  world.deliver(300);
  before = world.backlog();
  world.take(256);
  const std::int64_t excess = before - 2048;
  EXPECT_EQ(before - world.backlog(), 2048 + std::clamp<std::int64_t>((excess - target) / 8 * 8, 0, 256));

  CallbackWorld far;
  far.state->isConverted = true;
  for (int i = 0; i < 26; ++i) far.deliver(300);
  far.take(256);
  EXPECT_EQ(far.backlog(), target) << "a jump to the aim";
}

}  // namespace
}  // namespace sonmere
