#include "system/MixModeEngine.h"

#include <gtest/gtest.h>

#include "support/RoutingWorld.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {
namespace {

struct MixModeEngineTest : testing::Test {
  MixModeEngineTest() { launch(); }
  void launch() {
    mix = std::make_unique<MixModeEngine>(world.context);
    mix->launch();
  }
  RoutingWorld world;
  std::unique_ptr<MixModeEngine> mix;
};

TEST_F(MixModeEngineTest, WhatIsSetIsKeptPostedOnceAndNeverAuditionsByItself) {
  int posts = 0;
  const auto told =
      world.notifications.observe(MixModeEngine::kChanged, [&](const NotificationInfo&) { ++posts; });
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(mix->setEnabled(true));
    mix->setIncludeSystemAudio(true);
    mix->setSystemAudioVolume(0.5f);
    mix->setPreviewStreamMix(true);
    mix->setHearDAWTracks(true);
  }
  EXPECT_EQ(posts, 5) << "only what changed";
  mix->setDAWTrackVolume(3, 7);
  mix->setDAWTrackVolume(4, 0.25f);
  mix->setDAWTrackMuted(5, true);
  mix->setDAWTrackMuted(9, true);
  EXPECT_EQ(mix->trackWish(4), 0.25f);
  EXPECT_EQ(mix->trackWish(5), std::nullopt);
  launch();
  EXPECT_EQ(mix->wish(), (MixModeWish{true, true, 0.5f, false}));
  EXPECT_EQ(mix->trackWish(3), 1.0f);
  EXPECT_EQ(mix->trackWish(4), 0.25f);
  EXPECT_EQ(mix->trackWish(5), std::nullopt);
  EXPECT_TRUE(mix->setEnabled(false));
  EXPECT_EQ(mix->trackWish(4), std::nullopt);
}

TEST_F(MixModeEngineTest, TheKillSwitchForbidsItAndIsNoToggle) {
  world.settings.set(MixModeEngine::kDisabledKey, true);
  EXPECT_FALSE(mix->setEnabled(true));
  EXPECT_FALSE(*mix->isEnabled);
  EXPECT_FALSE(world.settings.number(MixModeEngine::kToggleCounterKey));
  EXPECT_TRUE(
      world.logged("Sonmere Mix Mode: refusing to enable — runtime kill switch is set (defaults key "
                   "sonmere.mixMode.disabled)"));
  world.settings.remove(MixModeEngine::kDisabledKey);
  EXPECT_TRUE(mix->setEnabled(true));
  EXPECT_EQ(world.settings.number(MixModeEngine::kToggleCounterKey), 1);
  world.settings.set(MixModeEngine::kDisabledKey, true);
  launch();
  EXPECT_FALSE(mix->wish().isEnabled) << "also what was on when it was forbidden";
}

TEST_F(MixModeEngineTest, ItAndSystemAudioExcludeEachOther) {
  SystemAudioEngine system(world.context, "1");
  system.launch();
  world.wait(1.5);
  ASSERT_TRUE(system.setEnabled(true));
  EXPECT_TRUE(mix->setEnabled(true));
  EXPECT_FALSE(*system.isEnabled);
  EXPECT_EQ(world.host().defaultUID(DefaultDevice::output), SimulatedHost::kSpeakersUID);
  ASSERT_TRUE(system.setEnabled(true));
  EXPECT_FALSE(*mix->isEnabled);
  EXPECT_FALSE(world.settings.boolValue(MixModeEngine::kEnabledKey));
}

}  // namespace
}  // namespace sonmere
