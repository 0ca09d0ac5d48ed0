#include <gtest/gtest.h>

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

}  // namespace
}  // namespace sonmere
