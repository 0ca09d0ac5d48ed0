#include <gtest/gtest.h>

#include "routing/monitor/BusLoopbackMonitorPool.h"
#include "routing/monitor/MonitorOutput.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

constexpr const char* kTrack2UID = "ToneFerry_UID_Track_2";

// Another program plays into Track 2, which the user wants to hear.
struct LoopbackTest : testing::Test {
  LoopbackTest() {
    world.host().setNominalRate(SimulatedHost::kSpeakersUID, 48000);
    studio = world.launch("studio");
    studio.setDevice(kTrack2UID);
    studio.play(SampleSources::tone(300, 0.5f));
    monitor.launch();
    pool.isBusBusyRenderingBySonmere = [this](int track) { return track == busyTrack; };
    pool.wanted = [this](int track) { return track == wantedTrack ? gain : std::nullopt; };
  }
  float peak(double seconds = 0.5) {
    const auto ear = world.host().hear(SimulatedHost::kSpeakersUID);
    world.wait(0.3);
    ear->takePeak();
    world.wait(seconds);
    return ear->takePeak();
  }
  std::size_t units() { return world.host().counts().units; }

  RoutingWorld world;
  SimulatedApp studio;
  std::optional<float> gain;
  int busyTrack = 0, wantedTrack = 2;
  MonitorOutput monitor{world.context};
  BusLoopbackMonitorPool pool{world.context};
};

TEST_F(LoopbackTest, ATrackThatOthersFeedIsHeardWhileItIsWantedAndNotRenderedHere) {
  pool.start();
  EXPECT_EQ(units(), 0u);
  gain = 0.5f;
  pool.update();
  EXPECT_TRUE(*monitor.monitorRunning);
  EXPECT_NEAR(peak(), 0.25f, 0.001f);
  EXPECT_EQ(pool.health().verdict, RouteHealthVerdict::healthy);
  busyTrack = 2;
  pool.update();
  EXPECT_EQ(peak(), 0.0f) << "the engine's own ring has it";
  busyTrack = 0;
  pool.update();
  EXPECT_NEAR(peak(), 0.25f, 0.001f);
  for (const int each : {1, 8}) {
    wantedTrack = each;
    pool.update();
    EXPECT_EQ(pool.health().verdict, RouteHealthVerdict::healthy) << each;
  }
  gain.reset();
  pool.update();
  EXPECT_EQ(pool.health().verdict, RouteHealthVerdict::inactive);
  world.wait(1);
  EXPECT_FALSE(*monitor.monitorRunning);
  EXPECT_EQ(units(), 0u);
}

TEST_F(LoopbackTest, AStartThatFailsIsTriedAgainAtGrowingDistances) {
  gain = 1.0f;
  for (const int nth : {1, 2, 3}) world.host().faults().failNth(Operation::unitInitialize, nth, -50);
  pool.start();
  EXPECT_FALSE(*monitor.monitorRunning);
  EXPECT_EQ(pool.health().verdict, RouteHealthVerdict::broken);
  world.wait(0.17);
  EXPECT_FALSE(*monitor.monitorRunning) << "0.03 + 0.06 + 0.09 s";
  world.wait(0.02);
  EXPECT_TRUE(*monitor.monitorRunning);
  EXPECT_NEAR(peak(), 0.5f, 0.001f);
}

TEST_F(LoopbackTest, ItFollowsRatesTheDriverAndTheServer) {
  gain = 1.0f;
  pool.start();
  world.host().setNominalRate(kTrack2UID, 96000);
  EXPECT_NEAR(peak(), 0.5f, 0.005f);
  world.host().setNominalRate("ToneFerry_UID", 44100);
  world.wait(1);
  EXPECT_NEAR(peak(), 0.5f, 0.005f);
  world.host().removeDriver();
  world.wait(1);
  EXPECT_EQ(pool.health().verdict, RouteHealthVerdict::broken);
  world.host().installDriver();
  world.wait(6);
  EXPECT_TRUE(world.logged("Track 2: device-list nudge succeeded"));
  EXPECT_NEAR(peak(), 0.5f, 0.005f);
  world.host().restartService(fromSeconds(1));
  world.wait(5);
  EXPECT_NEAR(peak(), 0.5f, 0.005f);
}

}  // namespace
}  // namespace sonmere
