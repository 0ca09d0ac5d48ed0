#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/effects/PluginChains.h"
#include "input/InputWorld.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

// What goes into the bridge has been through the microphone's chain, whose end is that of the microphone.
TEST(MicChainTest, TheBridgeHearsTheMicrophoneThroughItsChain) {
  InputWorld world;
  PluginChainStore::save(world.settings, PluginScope::ofMic(),
                         {{"urn:sonmere:gain", "", "", false, std::nullopt, {{"gain", 6.0206f}}}});
  PluginChains chains(world.runtime, world.log, world.settings, &world.platform.effects());
  world.plugInterface([] { return SampleSources::tone(1000, 0.1f); });
  world.engine = std::make_unique<MicPassthroughEngine>(world.context);
  world.engine->host(chains);
  world.engine->launch();
  ASSERT_TRUE(world.engine->select(InputWorld::kInterfaceUID));
  const RealtimeGuard guard;
  world.engine->setEnabled(true);
  world.wait(1);
  const auto ear = world.host().readInput(InputWorld::kBridgeUID);
  world.wait(0.5);
  EXPECT_NEAR(ear->takePeak(), 0.2f, 0.002f);
  EXPECT_EQ(chains.chain(PluginScope::ofMic()).state(), PluginChain::State::running);
  EXPECT_REALTIME_SAFE(guard);
  world.engine->setEnabled(false);
  world.wait(3);
  EXPECT_EQ(SimulatedEffect::living(), 0);
  world.engine.reset();
}

// When an impulse passes a device, in frames of the host's clock.
struct ImpulseWatch {
  ImpulseWatch(InputWorld& in, const char* uid)
      : world(in), device(*CoreAudioUtils::deviceForUID(world.platform.hardware(), uid)) {
    procedure = *world.platform.hardware().createIOProc(device, &ImpulseWatch::pass, this);
    EXPECT_EQ(world.platform.hardware().startDevice(device, procedure), noErr);
  }
  ~ImpulseWatch() {
    world.platform.hardware().stopDevice(device, procedure);
    world.platform.hardware().destroyIOProc(device, procedure);
  }
  static OSStatus pass(void* refcon, const AudioTimeStamp& time, AudioBufferList input,
                       AudioBufferList output) noexcept {
    ImpulseWatch& self = *static_cast<ImpulseWatch*>(refcon);
    const double now = double(time.hostTime) * 48e-6;
    if (self.sends && !output.empty()) {
      output[0].data[0] = 0.5f;
      self.sentAt = now;
      self.sends = false;
    }
    for (const AudioBuffer& buffer : input)
      for (std::uint32_t i = 0; self.heardAt < 0 && i < buffer.byteSize / 4; i += buffer.channels)
        if (std::abs(buffer.data[i]) > 0.1f) self.heardAt = now + i / buffer.channels;
    return noErr;
  }

  InputWorld& world;
  const AudioDeviceID device;
  IOProcID procedure = 0;
  bool sends = false;
  double sentAt = -1, heardAt = -1;
};

// What the bridge itself takes from what is played to what is heard.
double delayOfBridge() {
  InputWorld world;
  ImpulseWatch watch(world, InputWorld::kBridgeUID);
  world.wait(0.1);
  watch.sends = true;
  world.wait(0.5);
  return watch.heardAt - watch.sentAt;
}

// Frames from the microphone's cycle to the bridge's, with the bridge's clock `phase` of a cycle apart.
double delayOfMicrophone(double phase, bool isIsolated) {
  InputWorld world;
  PluginChains chains(world.runtime, world.log, world.settings, &world.platform.effects());
  if (isIsolated) chains.chain(PluginScope::ofMic()).insert(0, {"urn:sonmere:gain", "", "", false, {}, {}});
  std::vector<float> impulse(2 * 3 * 48000, 0.0f);
  impulse[2 * 72000 + 300] = impulse[2 * 72000 + 301] = 0.5f;
  world.plugInterface([&impulse] { return SampleSources::samples(impulse); });
  ImpulseWatch spoken(world, InputWorld::kInterfaceUID);
  world.wait(phase * 512 / 48000);
  ImpulseWatch heard(world, InputWorld::kBridgeUID);
  world.engine = std::make_unique<MicPassthroughEngine>(world.context);
  world.engine->host(chains);
  world.engine->launch();
  EXPECT_TRUE(world.engine->select(InputWorld::kInterfaceUID));
  world.engine->setEnabled(true);
  world.wait(2.5);
  EXPECT_GE(spoken.heardAt, 0);
  EXPECT_GE(heard.heardAt, 0);
  world.engine.reset();
  return heard.heardAt - spoken.heardAt;
}

TEST(MicChainTest, TheWayToTheBridgeCostsACycleAndAnIsolatedChainOneMore) {
  const double own = delayOfBridge();
  double most = 0, mostIsolated = 0;
  for (int phase = 0; phase < 8; ++phase) {
    most = std::max(most, delayOfMicrophone(phase / 8.0, false) - own);
    mostIsolated = std::max(mostIsolated, delayOfMicrophone(phase / 8.0, true) - own);
  }
  RecordProperty("frames", std::to_string(most));
  RecordProperty("framesIsolated", std::to_string(mostIsolated));
  // Times are whole nanoseconds.
  EXPECT_LE(most, 512.01);
  EXPECT_LE(mostIsolated, 1024.01);
  EXPECT_GE(mostIsolated, most + 511) << "the chain's block is there";
}

}  // namespace
}  // namespace sonmere
