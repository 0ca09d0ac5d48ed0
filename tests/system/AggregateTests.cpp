#include <gtest/gtest.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "platform/simulated/SampleSources.h"
#include "support/RoutingWorld.h"
#include "system/CombinedInputEngine.h"
#include "system/DAWAggregateEngine.h"

namespace sonmere {
namespace {

struct AggregateEngineTest : testing::Test {
  AudioHardware& hardware() { return world.platform.hardware(); }
  std::optional<AudioDeviceID> idOf(std::string_view uid) {
    return CoreAudioUtils::deviceForUID(hardware(), uid);
  }
  template <class Engine>
  std::unique_ptr<Engine> start() {
    auto engine = std::make_unique<Engine>(world.context);
    engine->launch();
    return engine;
  }
  int logged(const std::string& text) const { return int(std::ranges::count(world.lines, text)); }
  std::size_t aggregates() { return world.host().counts().aggregates; }

  RoutingWorld world;
};

TEST_F(AggregateEngineTest, TheTracksAreOneDeviceThatOutlivesTheProgramWhileItIsWanted) {
  auto daw = start<DAWAggregateEngine>();
  EXPECT_EQ(daw->health().verdict, RouteHealthVerdict::inactive);
  daw->setEnabled(true);
  ASSERT_TRUE(*daw->aggregateDeviceID);
  EXPECT_EQ(CoreAudioUtils::outputChannelCount(hardware(), **daw->aggregateDeviceID), 16);
  EXPECT_EQ(CoreAudioUtils::inputChannelCount(hardware(), **daw->aggregateDeviceID), 16);
  const auto description = world.host().aggregateDescriptions().at(0);
  EXPECT_FALSE(description.isPrivate);
  EXPECT_EQ(description.master, "ToneFerry_UID_Track_1");
  EXPECT_TRUE(std::ranges::all_of(description.subDevices, [](const auto& each) { return each.drift; }));
  daw->setEnabled(true);
  EXPECT_EQ(aggregates(), 1u) << "it is there";

  daw.reset();
  EXPECT_EQ(aggregates(), 1u);
  daw = start<DAWAggregateEngine>();
  EXPECT_EQ(aggregates(), 1u) << "made anew, and not beside the old one";
  EXPECT_EQ(logged("Sonmere DAWAggregate: created 'Sonmere Multi-Track' (ID: " +
                   std::to_string(**daw->aggregateDeviceID) + ")"),
            1);
  world.host().restartService();
  world.wait(3);
  EXPECT_EQ(daw->health().detail, "8 tracks");
  ASSERT_EQ(hardware().destroyAggregateDevice(**daw->aggregateDeviceID), noErr) << "by another program";
  EXPECT_EQ(daw->check(RevalidationReason::wake).detail, "Multi-track device missing — restoring");
  EXPECT_EQ(daw->health().verdict, RouteHealthVerdict::healthy) << "a pass has made it anew";
  EXPECT_EQ(idOf(kDAWDeviceUID), *daw->aggregateDeviceID);
  daw->setEnabled(false);
  EXPECT_EQ(aggregates(), 0u);
  EXPECT_FALSE(*daw->aggregateDeviceID);
  daw = start<DAWAggregateEngine>();
  EXPECT_EQ(aggregates(), 0u) << "off stays off";
}

TEST_F(AggregateEngineTest, WithoutItsTracksTheWishWaitsAndEachFailureIsTold) {
  world.host().removeDriver();
  auto daw = start<DAWAggregateEngine>();
  daw->setEnabled(true);
  EXPECT_EQ(
      daw->errorMessage->value_or(""),
      "Couldn't find all 8 Sonmere Track devices — the Sonmere Tone Ferry driver may not be loaded yet. "
      "Reinstall or relaunch and try again.");
  EXPECT_TRUE(*daw->isEnabled);
  EXPECT_EQ(daw->health().verdict, RouteHealthVerdict::broken);
  world.host().installDriver();
  world.wait(3);
  EXPECT_TRUE(*daw->aggregateDeviceID);
  EXPECT_FALSE(*daw->errorMessage);

  FaultPlan& faults = world.host().faults();
  faults.failNth(Operation::destroyAggregateDevice, 1, -50);
  daw->setEnabled(false);
  EXPECT_EQ(daw->errorMessage->value_or(""),
            "Couldn't remove the DAW aggregate device (CoreAudio error -50).");
  daw->manualReset();
  EXPECT_EQ(logged("Sonmere DAWAggregate: manual reset — sweeping stray aggregate while disabled"), 1);
  EXPECT_EQ(aggregates(), 0u);
  faults.failNth(Operation::createAggregateDevice, 1, -51);
  daw->setEnabled(true);
  EXPECT_EQ(daw->errorMessage->value_or(""),
            "Couldn't create the DAW aggregate device (CoreAudio error -51).");
  daw->manualReset();
  EXPECT_TRUE(*daw->aggregateDeviceID);
  EXPECT_FALSE(*daw->errorMessage);
}

TEST_F(AggregateEngineTest, InputsAreCombinedKeptAndCombinedAgain) {
  auto combined = start<CombinedInputEngine>();
  EXPECT_FALSE(combined->create({{SimulatedHost::kHeadsetUID}, "Both"}));
  EXPECT_EQ(combined->errorMessage->value_or(""), "Pick at least two devices.");
  ASSERT_TRUE(combined->create({{SimulatedHost::kHeadsetUID, SimulatedHost::kMicrophoneUID}, "Both"}));
  ASSERT_TRUE(*combined->device);
  EXPECT_EQ(CoreAudioUtils::inputChannelCount(hardware(), **combined->device), 2);
  EXPECT_EQ(CoreAudioUtils::outputChannelCount(hardware(), **combined->device), 0) << "the headset's";
  EXPECT_EQ(CoreAudioUtils::deviceName(hardware(), **combined->device), "Both");
  ASSERT_TRUE(combined->create({{SimulatedHost::kMicrophoneUID, SimulatedHost::kHeadsetUID}, "Again"}));
  EXPECT_EQ(aggregates(), 1u) << "one in place of the other";

  combined = start<CombinedInputEngine>();
  EXPECT_EQ(combined->wish->name, "Again");
  EXPECT_EQ(aggregates(), 1u);
  world.host().restartService();
  world.wait(3);
  EXPECT_EQ(combined->health().verdict, RouteHealthVerdict::healthy);
  world.host().faults().failNth(Operation::createAggregateDevice, 1, -52);
  EXPECT_FALSE(combined->create({{SimulatedHost::kMicrophoneUID, SimulatedHost::kHeadsetUID}, "Third"}));
  EXPECT_EQ(combined->errorMessage->value_or(""),
            "CoreAudio couldn't create the combined device (error -52).");
  EXPECT_EQ(combined->health().verdict, RouteHealthVerdict::broken);
  world.host().unplug(SimulatedHost::kHeadsetUID);
  world.wait(2);
  world.host().replug(SimulatedHost::kHeadsetUID);
  world.wait(2);
  EXPECT_EQ(combined->health().verdict, RouteHealthVerdict::healthy)
      << "the next change of devices tries again";
  combined->remove();
  EXPECT_EQ(aggregates(), 0u);
  combined = start<CombinedInputEngine>();
  EXPECT_TRUE(combined->wish->devices.empty());
}

}  // namespace
}  // namespace sonmere
