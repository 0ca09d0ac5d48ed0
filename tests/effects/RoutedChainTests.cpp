#include <gtest/gtest.h>

#include <cmath>

#include "audio/effects/PluginChains.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

struct RoutedChainTest : testing::Test {
  RoutedChainTest() {
    for (const auto& [scope, decibels] :
         {std::pair{PluginScope::ofApp("music"), 6.0206f}, {PluginScope::ofBus(2), 12.0412f}})
      PluginChainStore::save(world.settings, scope,
                             {{"urn:sonmere:gain", "", "", false, std::nullopt, {{"gain", decibels}}}});
    chains =
        std::make_unique<PluginChains>(world.runtime, world.log, world.settings, &world.platform.effects());
    music = world.launch("music");
    music.play(SampleSources::tone(1000, 0.05f));
    world.engine = std::make_shared<AppTapEngine>(world.context);
    world.engine->host(*chains);
    world.engine->start();
    world.settle();
  }
  ~RoutedChainTest() override {
    world.engine.reset();
    EXPECT_REALTIME_SAFE(guard);
  }
  // The peak of what another program reads from the bus in the next moment.
  double peak(int bus) {
    world.wait(0.3);
    const auto ear = world.host().readInput(std::string(kBusUIDs[std::size_t(bus)]));
    world.wait(0.2);
    return double(ear->takePeak());
  }

  RealtimeGuard guard;
  RoutingWorld world;
  std::unique_ptr<PluginChains> chains;
  SimulatedApp music;
};

// The app's chain is heard on its bus, and the bus's behind it; both follow the app, the rate, and its end.
TEST_F(RoutedChainTest, ChainsOfAnAppAndItsBusAreHeardWhereTheAppIs) {
  ASSERT_TRUE(world.engine->setBus("music", 2));
  ASSERT_TRUE(world.engine->setRouted("music", true));
  EXPECT_NEAR(peak(2), 0.05 * 8, 0.005);
  ASSERT_TRUE(world.engine->setBus("music", 3));
  EXPECT_NEAR(peak(3), 0.05 * 2, 0.005) << "the app's goes along, the bus's does not";
  ASSERT_TRUE(world.engine->setBus("music", 2));
  ASSERT_TRUE(world.host().setNominalRate(std::string(kBusUIDs[0]), 44100));
  EXPECT_NEAR(peak(2), 0.05 * 8, 0.005);
  EXPECT_EQ(chains->chain(PluginScope::ofBus(2)).sampleRate(), 44100);
  EXPECT_EQ(chains->chain(PluginScope::ofApp("music")).sampleRate(), 44100);
  music.quit();
  world.wait(3);
  EXPECT_EQ(SimulatedEffect::living(), 0);
}

// The chains come when the plug-ins have been read, which may be after the routes.
TEST(RoutedChains, AreHeardThoughTheyComeAfterTheRoute) {
  RoutingWorld world;
  PluginChainStore::save(world.settings, PluginScope::ofApp("music"),
                         {{"urn:sonmere:gain", "", "", false, std::nullopt, {{"gain", 6.0206f}}}});
  PluginChains chains(world.runtime, world.log, world.settings, &world.platform.effects());
  auto music = world.launch("music");
  music.play(SampleSources::tone(1000, 0.05f));
  world.engine = std::make_shared<AppTapEngine>(world.context);
  world.engine->start();
  world.settle();
  ASSERT_TRUE(world.engine->setBus("music", 2));
  ASSERT_TRUE(world.engine->setRouted("music", true));
  world.wait(0.3);
  world.engine->host(chains);
  world.wait(0.3);
  const auto ear = world.host().readInput(std::string(kBusUIDs[2]));
  world.wait(0.2);
  EXPECT_NEAR(double(ear->takePeak()), 0.05 * 2, 0.005);
  world.engine.reset();
}

}  // namespace
}  // namespace sonmere
