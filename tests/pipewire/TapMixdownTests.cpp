// A tap hears what a program plays, whichever device the program plays it on.

#include <gtest/gtest.h>
#include <sndfile.h>

#include <atomic>
#include <cmath>

#include "PipeWireWorld.h"
#include "audio/engine/TapAggregate.h"
#include "platform/pipewire/CycleCrossing.h"
#include "platform/pipewire/TapMixdown.h"

namespace sonmere {

namespace {

using Levels = std::vector<float>;

// A file that holds one value on each channel.
void writeLevels(const std::string& path, const Levels& levels) {
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = int(levels.size());
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  const sf_count_t frames = 60 * 48000;
  for (sf_count_t i = 0; i < frames; ++i) sf_writef_float(file, levels.data(), 1);
  sf_close(file);
}

struct Heard {
  std::atomic<float> left{-1}, right{-1};
  static OSStatus take(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    if (input.empty() || input[0].channels != 2 || input[0].byteSize < 8) return noErr;
    static_cast<Heard*>(refcon)->left = input[0].data[0];
    static_cast<Heard*>(refcon)->right = input[0].data[1];
    return noErr;
  }
  bool is(const Levels& expected) const {
    return std::abs(left - expected[0]) < 1e-3f && std::abs(right - expected[1]) < 1e-3f;
  }
};
std::ostream& operator<<(std::ostream& out, const Heard& heard) {
  return out << heard.left << " / " << heard.right;
}

// What a program plays, and what a tap of it hears. The centre and the sides at -3 dB.
struct Source {
  std::string name;
  Levels played, expected;
};
const std::vector<Source>& sources() {
  static const std::vector<Source> all = {
      {"mono", {0.25f}, {0.25f, 0.25f}},
      {"left", {0.25f, 0}, {0.25f, 0}},
      {"surround", {0.1f, 0.2f, 0.3f, 0, 0.05f, 0.15f}, {0.1f + 0.70711f * 0.35f, 0.2f + 0.70711f * 0.45f}},
  };
  return all;
}

struct MixdownWorld : PipeWireWorld {
  MixdownWorld() : PipeWireWorld(256) {}
  bool begin() {
    if (!start()) return false;
    for (const std::string layout : {"MONO", "FL,FR,FC,LFE,RL,RR", "FL,FR,FC,LFE,RL,RR,SL,SR"})
      session.run({"pw-cli", "create-node", "adapter",
                   "{ factory.name=support.null-audio-sink media.class=Audio/Sink object.linger=true "
                   "node.name=" +
                       std::to_string(std::ranges::count(layout, ',') + 1) + " audio.position=[" + layout +
                       "] }"});
    for (const Source& source : sources()) writeLevels(session.file(source.name + ".wav"), source.played);
    return until([&] { return device("1") && device("6") && device("8"); });
  }
  bool makeDefault(const std::string& uid) {
    hardware().setDefaultDevice(DefaultDevice::output, device(uid));
    return until([&] { return hardware().defaultDevice(DefaultDevice::output) == device(uid); });
  }
  std::expected<TapAggregate, TapAggregateFailure> listen(Heard& heard, TapMute mute) {
    TapAggregatePlan plan;
    plan.tap.name = "Listener";
    plan.tap.mute = mute;
    plan.tap.processes = engine->row("pw-play")->audioObjectIDs;
    plan.aggregateUID = "listener";
    plan.procedure = Heard::take;
    plan.clientData = &heard;
    return buildTapAggregate(hardware(), runtime, plan);
  }
  bool isPlaying() {
    const TappedAppInfo* row = engine->row("pw-play");
    return row && !row->audioObjectIDs.empty() && !outputsOf("pw-play").empty();
  }
  bool hasEnded() {
    const TappedAppInfo* row = engine->row("pw-play");
    return !row || row->audioObjectIDs.empty();
  }
};

}  // namespace

// One channel, two, six and eight; heard beside the device, and instead of it.
TEST(TapMixdownOnAServer, DependsOnTheProgramAlone) {
  MixdownWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  for (const std::string uid : {"1", "fake.speaker", "6", "8"}) {
    ASSERT_TRUE(world.makeDefault(uid));
    for (const Source& source : sources()) {
      SCOPED_TRACE(source.name + " on " + uid);
      auto program = world.session.launch({"pw-play", world.session.file(source.name + ".wav")});
      ASSERT_TRUE(world.until([&] { return world.isPlaying(); }));
      for (const TapMute mute : {TapMute::unmuted, TapMute::muted}) {
        Heard heard;
        auto tap = world.listen(heard, mute);
        ASSERT_TRUE(tap);
        EXPECT_TRUE(world.until([&] { return heard.is(source.expected); }))
            << heard << (mute == TapMute::muted ? " muted" : " beside its device");
        destroyTapAggregate(world.hardware(), *tap);
      }
      program.end();
      ASSERT_TRUE(world.until([&] { return world.hasEnded(); }));
    }
  }
}

// A headset that falls back to a single channel while a program is captured: the sides stay, and the program
// is still heard on the headset, as the server mixes it. The program lives: one that is moved while the
// session makes its ports anew dies of it.
TEST(TapMixdownOnAServer, StaysWhenTheDefaultNarrows) {
  MixdownWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.begin());
  auto program = world.session.launch({"pw-play", world.session.file("left.wav")});
  ASSERT_TRUE(world.until([&] { return world.isPlaying(); }));
  Heard heard;
  auto tap = world.listen(heard, TapMute::unmuted);
  ASSERT_TRUE(tap);
  for (const std::string uid : {"1", "8", "1", "fake.speaker"}) {
    SCOPED_TRACE(uid);
    ASSERT_TRUE(world.makeDefault(uid));
    heard.left = -1;
    EXPECT_TRUE(world.until([&] { return heard.is({0.25f, 0}); })) << heard;
    const bool isNarrow = uid == "1";
    EXPECT_TRUE(world.until([&] { return world.outputsOf("pw-play").empty() == isNarrow; }));
    auto recorder =
        world.session.launch({"pw-record", "--target", uid, "-P", "{ stream.capture.sink=true }", "--format",
                              "f32", "--channels", "1", world.session.file("device.wav")});
    EXPECT_TRUE(world.until([&] {
      const auto samples = readSamples(world.session.file("device.wav"));
      return !samples.empty() && samples.back() > 0.1f;
    })) << "the device itself is silent";
    recorder.end();
    std::filesystem::remove(world.session.file("device.wav"));
  }
  destroyTapAggregate(world.hardware(), *tap);
  EXPECT_TRUE(world.isPlaying()) << "the program has died";
}

// Every channel that the server knows has its place, and its weight.
TEST(TapMixdown, WeighsEveryChannel) {
  const std::vector<std::pair<std::string, Levels>> table = {
      {"FL", {1, 0}},           {"FR", {0, 1}},      {"FLC", {1, 0}},     {"FRC", {0, 1}},
      {"MONO", {1, 1}},         {"UNK", {1, 1}},     {"AUX0", {1, 0}},    {"AUX13", {0, 1}},
      {"FC", {.7071f, .7071f}}, {"SL", {.7071f, 0}}, {"RR", {0, .7071f}}, {"RLC", {.7071f, 0}},
      {"TFR", {0, .7071f}},     {"RC", {.5f, .5f}},  {"LFE", {0, 0}},     {"RLFE", {0, 0}},
  };
  const auto& ports = TapMixdown::positions();
  for (const auto& [channel, expected] : table) {
    std::vector<float> samples(2 * ports.size());
    for (const auto& target : TapMixdown::targets(channel))
      samples[std::size_t(std::ranges::find(ports, target) - ports.begin()) + ports.size()] = 1;
    const auto stereo = TapMixdown::fold({samples.data(), 2, std::uint32_t(ports.size()), {}});
    ASSERT_EQ(stereo.channels, 2u);
    EXPECT_EQ(samples[0], 0) << "a frame without sound";
    EXPECT_NEAR(samples[2], expected[0], 1e-4) << channel;
    EXPECT_NEAR(samples[3], expected[1], 1e-4) << channel;
  }
}

// A reader that stood still is not late from then on.
TEST(CycleCrossing, KeepsAtMostOneCycle) {
  CycleCrossing crossing(1);
  float next = 0, out[64] = {};
  const auto write = [&] {
    const AudioBuffer block = crossing.block(64);
    for (int i = 0; i < 64; ++i) block.data[i] = ++next;
    crossing.write(block.data, 64);
  };
  EXPECT_FALSE(crossing.read(out, 64));
  for (int cycle = 0; cycle < 3; ++cycle) {
    write();
    ASSERT_TRUE(crossing.read(out, 64));
    EXPECT_EQ(out[63], next);
  }
  for (int cycle = 0; cycle < 5; ++cycle) write();
  ASSERT_TRUE(crossing.read(out, 64));
  EXPECT_EQ(out[63], next);
  EXPECT_FALSE(crossing.read(out, 64));
}

}  // namespace sonmere
