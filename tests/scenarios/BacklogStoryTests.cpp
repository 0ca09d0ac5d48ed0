// Whatever happens to the path of an app, it is soon no farther behind than when it was set up: neither a
// routed app nor one of the mixer.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "support/MixerWorld.h"
#include "support/RoutingInsides.h"

namespace sonmere {
namespace {

constexpr const char* kTrack = "ToneFerry_UID_Track_2";  // bus 3
constexpr const char* kBridge = "ToneFerry_UID";

struct BacklogStory : testing::Test {
  void begin(std::uint64_t seed, bool settles) {
    world = std::make_unique<MixerWorld>(seed, SimulatedOptions{.needsSettling = settles});
    for (const char* app : {"music", "game"}) world->launch(app).play(SampleSources::tone(440, 0.2f));
    world->startMixer();
    world->engine->setBus("music", 3);
    world->engine->setRouted("music", true);
    world->wait(2);
  }
  SimulatedHost& host() { return world->host(); }
  void setQuantum(const std::string& uid, std::uint32_t frames) {
    const auto device = world->platform.hardware().deviceForUID(uid);
    ASSERT_EQ(world->platform.hardware().setBufferFrameSize(*device, frames), noErr);
    quantum = std::int64_t(2) * frames;
  }
  // 2 s after the act each app is heard, and no farther behind than a quantum and the reserve.
  void expectPromptAfter(const std::string& act) {
    SCOPED_TRACE(act);
    world->wait(2);
    const auto tap = world->engine->tapOf("music");
    const auto mixerTap = world->tap("game");
    if (!tap || !mixerTap) return void(ADD_FAILURE() << "no tap");
    const std::int64_t reads = tap->ring.reader().reads, mixerReads = mixerTap->ring.reader().reads;
    std::int64_t routed = 0, mixed = 0;
    for (int look = 0; look < 40; ++look) {
      world->wait(0.0037);
      routed = std::max(routed, tap->ring.reader().lastBacklog.load());
      mixed = std::max(mixed, mixerTap->ring.reader().lastBacklog.load());
    }
    EXPECT_GT(tap->ring.reader().reads, reads);
    EXPECT_GT(mixerTap->ring.reader().reads, mixerReads);
    EXPECT_LE(routed, quantumAt(*RoutingInsides(*world->engine).outputs.sampleRate(3)) + kTrimReserveSamples);
    EXPECT_LE(mixed, quantumAt(world->mixer->outputSampleRate()) + kTrimReserveSamples);
  }
  // Samples that come at once where the longest cycle of any device carries blocks of another rate.
  std::int64_t quantumAt(double rate) {
    const double slowest =
        std::min({host().nominalRate(kTrack), host().nominalRate(SimulatedHost::kSpeakersUID), rate});
    return quantum * std::int64_t(std::ceil(rate / slowest));
  }
  void act(const std::string& name, const std::function<void()>& what) {
    what();
    expectPromptAfter(name);
  }

  std::unique_ptr<MixerWorld> world;
  std::int64_t quantum = 2 * 512;  // samples of a cycle
};

TEST_F(BacklogStory, AfterEachChangeOfBusUnitRateDeviceQuantumAndServerAnAppIsSoonPromptAgain) {
  for (const bool settles : {false, true}) {
    SCOPED_TRACE(settles);
    quantum = 2 * 512;
    begin(settles ? 7 : 3, settles);
    AppTapEngine& engine = *world->engine;
    act("many moves", [&] {
      for (int move = 0; move < 20; ++move) {
        engine.setBus("music", move % 2 == 0 ? 4 : 3);
        world->wait(0.117);
      }
    });
    act("moves between buses that both run", [&] {
      engine.setMicSend(3, 0.5f);
      engine.setMicSend(4, 0.5f);
      for (int move = 0; move < 9; ++move) {
        engine.setBus("music", move % 2 == 0 ? 4 : 3);
        world->wait(0.031);
      }
      engine.setBus("music", 3);
    });
    act("the bus's device goes and comes back", [&] {
      host().unplug(kTrack);
      world->wait(0.4);
      host().replug(kTrack);
    });
    act("the whole driver goes and comes back", [&] {
      host().removeDriver();
      world->wait(0.7);
      host().installDriver();
    });
    for (const double rate : {44100.0, 96000.0, 48000.0}) {
      act("the bridge's rate", [&] { host().setNominalRate(kBridge, rate); });
      act("the Track's rate", [&] { host().setNominalRate(kTrack, rate); });
      act("the speakers' rate", [&] { host().setNominalRate(SimulatedHost::kSpeakersUID, rate); });
    }
    act("another default", [&] { host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID); });
    act("the default goes", [&] { host().unplug(SimulatedHost::kHeadsetUID); });
    act("a mute and its end", [&] {
      for (const bool muted : {true, false}) {
        engine.setMuted("music", muted);
        world->mixer->setMuted("game", muted);
        world->wait(0.6);
      }
    });
    act("sleep", [&] {
      host().sleep();
      world->wait(5);
      host().wake();
      world->wait(1.5);
    });
    act("a restart of the server", [&] {
      host().restartService(fromMilliseconds(400));
      world->wait(3);
    });
    for (const std::uint32_t frames : {2048u, 128u, 1024u, 64u, 512u})
      act("a quantum of " + std::to_string(frames), [&] {
        for (const char* uid : {kTrack, SimulatedHost::kSpeakersUID}) setQuantum(uid, frames);
      });
  }
}

}  // namespace
}  // namespace sonmere
