#include <gtest/gtest.h>

#include <cmath>

#include "routing/monitor/MonitorOutput.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

// Mix Mode on the headset, while apps by themselves play on the speakers: one that is routed and one that is
// not.
struct MixModeTest : testing::Test {
  MixModeTest() {
    music = world.launch("music");
    talk = world.launch("talk");
    world.startEngine();
    monitor = std::make_unique<MonitorOutput>(world.context);
    monitor->launch();
    EXPECT_TRUE(monitor->select(SimulatedHost::kHeadsetUID));
    world.engine->setBus("music", 3);
    EXPECT_TRUE(world.engine->setRouted("music", true));
    music.play(constant(0.5f));
    talk.play(constant(0.25f));
    world.wait(0.2);
  }
  ~MixModeTest() override { monitor.reset(); }
  // Whose sum is exact.
  static std::unique_ptr<SampleSource> constant(float level) {
    return SampleSources::samples({level, level}, true);
  }
  RoutingMixMode& mix() { return world.engine->mixMode(); }
  RoutingMonitors& monitors() { return world.engine->monitors(); }
  float peakOn(const char* uid) {
    const auto ear = world.host().hear(uid);
    world.wait(0.4);
    ear->takePeak();
    world.wait(0.6);
    return std::round(ear->takePeak() * 100) / 100;
  }
  std::pair<float, float> heard() {
    const float speakers = peakOn(SimulatedHost::kSpeakersUID);
    return {speakers, peakOn(SimulatedHost::kHeadsetUID)};
  }
  int logged(const std::string& text) const { return int(std::ranges::count(world.lines, text)); }

  RoutingWorld world;
  std::unique_ptr<MonitorOutput> monitor;
  SimulatedApp music, talk;
};

TEST_F(MixModeTest, EachAppIsHeardOnceOnTheMonitorAtItsLevelAndAsBeforeWhenItIsOver) {
  EXPECT_EQ(heard(), std::pair(0.75f, 0.0f));
  mix().apply({.isEnabled = true});
  EXPECT_EQ(logged("Sonmere Mix Mode: ON — auto-enabled per-tap monitor for 1 apps"), 1);
  EXPECT_EQ(heard(), std::pair(0.25f, 0.5f)) << "what is not routed plays by itself";
  mix().apply({.isEnabled = true, .includesSystemAudio = true, .systemAudioVolume = 0.4f});
  EXPECT_EQ(heard(), std::pair(0.0f, 0.6f));
  EXPECT_EQ(peakOn("ToneFerry_UID_Track_2"), 0.5f) << "the stream has what is routed";

  // Levels of their own, and the audition of the stream's.
  world.engine->setMonitorLinked("music", false);
  world.engine->setMonitorVolume("music", 0.2f);
  world.engine->setVolume("music", 0.8f);
  EXPECT_EQ(heard().second, 0.2f);
  mix().apply(
      {.isEnabled = true, .includesSystemAudio = true, .systemAudioVolume = 0, .previewsStreamMix = true});
  EXPECT_EQ(heard().second, 0.4f);
  mix().apply({.isEnabled = true, .includesSystemAudio = true, .systemAudioVolume = 0});
  EXPECT_EQ(heard().second, 0.1f);
  world.engine->setVolume("music", 1);

  mix().apply({});
  EXPECT_EQ(logged("Sonmere Mix Mode: OFF — disabled per-tap monitor for 1 apps"), 1);
  EXPECT_EQ(heard(), std::pair(0.75f, 0.0f));
  EXPECT_EQ(world.host().counts().taps, 1u);
}

TEST_F(MixModeTest, WhatIsRoutedMeanwhileMovesFromTheCatchAllToItsOwnMonitorAndBack) {
  mix().apply({.isEnabled = true, .includesSystemAudio = true});
  const auto excluded = [this] {
    for (const TapDescription& tap : world.host().tapDescriptions()) {
      if (!tap.exclusive) continue;
      EXPECT_EQ(tap.name, "Sonmere Mix Mode System Catch-All");
      EXPECT_TRUE(tap.isPrivate && tap.mute == TapMute::muted);
      return tap.processes.size();
    }
    return std::size_t(0);
  };
  EXPECT_EQ(excluded(), 2u) << "the routed app and this program";
  ASSERT_TRUE(world.engine->setRouted("talk", true));
  EXPECT_EQ(excluded(), 3u);
  EXPECT_EQ(logged("Sonmere Mix Mode: catch-all exclude list changed (2 → 3 apps) — rebuilding"), 1);
  EXPECT_EQ(heard(), std::pair(0.0f, 0.75f));
  ASSERT_TRUE(world.engine->setRouted("music", false));
  EXPECT_EQ(heard(), std::pair(0.0f, 0.75f)) << "caught";
  world.host().restartService();
  world.wait(3);
  EXPECT_EQ(heard(), std::pair(0.0f, 0.75f)) << "a server that came back";

  // A monitor that the user has on by hand stays.
  mix().apply({});
  ASSERT_TRUE(monitors().setMonitored("talk", true));
  mix().apply({.isEnabled = true});
  mix().apply({});
  EXPECT_EQ(heard(), std::pair(0.5f, 0.25f));
}

TEST_F(MixModeTest, ACatchAllThatFailsIsTriedAgainAndLeavesTheAppsAudible) {
  using enum Operation;
  const std::pair<Operation, const char*> cases[] = {{createProcessTap, "tap creation"},
                                                     {createAggregateDevice, "aggregate creation"},
                                                     {createIOProc, "IOProc creation"},
                                                     {startDevice, "start"}};
  mix().apply({.isEnabled = true});
  for (const auto& [operation, what] : cases) {
    world.host().faults().failNth(operation, 1, -77);
    mix().apply({.isEnabled = true, .includesSystemAudio = true});
    EXPECT_EQ(logged(std::string("Sonmere Mix Mode: catch-all ") + what + " failed: -77"), 1);
    EXPECT_FALSE(mix().isCatchAllRunning());
    EXPECT_EQ(heard(), std::pair(0.25f, 0.5f));
    mix().update();
    EXPECT_TRUE(mix().isCatchAllRunning());
    mix().apply({.isEnabled = true});
  }
  EXPECT_EQ(world.host().counts().taps, 1u);
}

TEST_F(MixModeTest, ACaptureThatIsSilentForAMinuteIsMadeAnewWhileItIsOn) {
  mix().apply({.isEnabled = true, .includesSystemAudio = true});
  EXPECT_EQ(logged("Sonmere TapWatchdog: started"), 1);
  const TapHealthWatchdog& watchdog = mix().watchdog();
  world.wait(120);
  EXPECT_EQ(*watchdog.healCount, 0) << "both play";
  music.play(constant(0));
  world.wait(56);
  EXPECT_EQ(*watchdog.healCount, 0);
  world.wait(10);
  EXPECT_EQ(*watchdog.healCount, 1) << "twelve silent looks";
  EXPECT_EQ(watchdog.recentHeals->at(0).pid, world.row("music").id);
  EXPECT_EQ(*watchdog.lastHealAt, watchdog.recentHeals->at(0).at);
  talk.play(constant(0));
  world.wait(66);
  EXPECT_EQ(*watchdog.healCount, 3) << "the app again, and the catch-all";
  EXPECT_EQ(logged("Sonmere TapWatchdog: rebuilding catch-all tap (suspected drift)"), 1);
  EXPECT_TRUE(std::ranges::any_of(*watchdog.recentHeals,
                                  [](const auto& heal) { return heal.pid == TapHealthWatchdog::kCatchAll; }));
  world.wait(600);
  EXPECT_EQ(watchdog.recentHeals->size(), 10u);
  const int heals = *watchdog.healCount;
  mix().apply({});
  world.wait(200);
  EXPECT_EQ(*watchdog.healCount, heals);
  EXPECT_EQ(world.host().counts().taps, 1u);
}

}  // namespace
}  // namespace sonmere
