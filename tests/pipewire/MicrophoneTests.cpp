// The microphone on a real server: what plays into it is read from the bridge by other programs.

#include <gtest/gtest.h>

#include "Impulses.h"
#include "PipeWireWorld.h"
#include "audio/effects/PluginChains.h"
#include "input/MicPassthroughEngine.h"
#include "platform/simulated/SimulatedEffectsHost.h"

namespace sonmere {

namespace {

constexpr std::size_t kSecond = 96000;  // samples
#ifdef SONMERE_SANITIZED
constexpr std::size_t kEnough = kSecond / 8;
#else
constexpr std::size_t kEnough = kSecond / 2;
#endif

struct MicrophoneWorld : PipeWireWorld {
  MicrophoneWorld() : PipeWireWorld(256) {}
  ~MicrophoneWorld() { mic.reset(); }

  // A voice in the microphone, and another program that reads the device.
  void speak() {
    signal.write(session.file("voice.wav"));
    voice = session.launch({"pw-play", "--target", "fake.mic.feed", session.file("voice.wav")});
  }
  bool isHeardFrom(const std::string& uid) {
    const std::string file = session.file(uid + std::to_string(++takes) + ".wav");
    auto reader = session.launch({"pw-record", "--target", uid, "--format", "f32", file});
    Match match;
    return untilRecorded(file, signal, kEnough, match);
  }

  const KnownSignal signal{60};
  std::unique_ptr<MicPassthroughEngine> mic;
  SessionProgram voice;
  int takes = 0;
};

TEST(Microphone, OtherProgramsHearItFromTheBridge) {
  MicrophoneWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  world.mic = std::make_unique<MicPassthroughEngine>(world.context);
  world.mic->launch();
  ASSERT_TRUE(world.mic->select("fake.mic"));
  world.mic->setChannelMode(InputChannelMode::stereo);
  world.speak();
  world.mic->setEnabled(true);
  ASSERT_TRUE(world.until([&] { return world.mic->isRunning(); })) << world.mic->errorMessage->value_or("");
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID")) << "every sample as it was";
  world.engine->setMicSend(3, 1);
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID_Track_2"));

  ASSERT_TRUE(world.session.control("restart"));
  ASSERT_TRUE(world.until([&] { return world.mic->isRunning() && world.device("fake.mic") != 0; }));
  world.voice.end();
  world.speak();
  EXPECT_TRUE(world.isHeardFrom("ToneFerry_UID")) << "also after the server was away";
}

// Frames from an impulse in the microphone to the same in the bridge. Below 0: could not be measured.
std::int64_t delayOf(MicrophoneWorld& world) {
  Impulses spoken, arrived;
  AudioHardware& hardware = world.hardware();
  const AudioDeviceID mic = world.device("fake.mic"), bridge = world.device("ToneFerry_UID");
  const auto first = hardware.createIOProc(mic, Impulses::hear, &spoken);
  const auto second = hardware.createIOProc(bridge, Impulses::hear, &arrived);
  if (!first || !second) return -1;
  const bool runs =
      hardware.startDevice(mic, *first) == noErr && hardware.startDevice(bridge, *second) == noErr;
  const bool isHeard =
      runs && world.until([&] { return spoken.count.load() >= 6 && arrived.count.load() >= 6; });
  hardware.stopDevice(mic, *first);
  hardware.stopDevice(bridge, *second);
  hardware.destroyIOProc(mic, *first);
  hardware.destroyIOProc(bridge, *second);
  return isHeard ? largestDelay(spoken, arrived) : -1;
}

// A cycle that the machine misses delays all that comes after it: then the way is made and measured anew.
std::int64_t leastDelayOf(MicrophoneWorld& world, std::int64_t goal) {
  std::int64_t delay = -1;
  for (int attempt = 0; attempt < 6 && (delay < 0 || delay > goal); ++attempt) {
    world.mic->setEnabled(false);
    world.mic->setEnabled(true);
    if (!world.until([&] { return world.mic->isRunning(); })) return -1;
    delay = delayOf(world);
  }
  return delay;
}

TEST(Microphone, CostsAQuantumAndAnIsolatedChainOneMore) {
  constexpr std::int64_t kQuantum = 256, kSlack = 2;
  MicrophoneWorld world;
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  FaultPlan faults;
  SimulatedEffectsHost effects(world.runtime, faults);
  PluginChains chains(world.runtime, world.log, world.settings, &effects);
  world.mic = std::make_unique<MicPassthroughEngine>(world.context);
  world.mic->host(chains);
  world.mic->launch();
  ASSERT_TRUE(world.mic->select("fake.mic"));
  world.mic->setChannelMode(InputChannelMode::stereo);
  impulseSignal().write(world.session.file("voice.wav"));
  world.voice =
      world.session.launch({"pw-play", "--target", "fake.mic.feed", world.session.file("voice.wav")});
  const std::int64_t plain = leastDelayOf(world, kQuantum + kSlack);
  chains.chain(PluginScope::ofMic()).insert(0, {"urn:sonmere:gain", "", "", false, {}, {}});
  ASSERT_TRUE(
      world.until([&] { return chains.chain(PluginScope::ofMic()).state() == PluginChain::State::running; }));
  const std::int64_t isolated = leastDelayOf(world, 2 * kQuantum + kSlack);
  std::printf("microphone to bridge: %lld frames, through an isolated chain %lld (quantum %lld)\n",
              static_cast<long long>(plain), static_cast<long long>(isolated),
              static_cast<long long>(kQuantum));
  EXPECT_GE(plain, 0);
  EXPECT_LE(plain, kQuantum + kSlack);
  EXPECT_GE(isolated, kQuantum - kSlack);
  EXPECT_LE(isolated, 2 * kQuantum + kSlack);
  world.mic.reset();
}

}  // namespace

}  // namespace sonmere
