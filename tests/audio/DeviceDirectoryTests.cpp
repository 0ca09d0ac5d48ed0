#include <gtest/gtest.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/DeviceDirectory.h"
#include "audio/engine/RouteKeeper.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {
namespace {

struct DeviceDirectoryTest : testing::Test {
  DeviceDirectoryTest() {
    host.plugStandardMachine();
    host.installDriver();
  }
  void plugNew(std::uint32_t channels) {
    SimulatedDeviceDescription description;
    description.uid = description.name = "New";
    description.outputChannels = channels;
    description.nominalRate = 96000;
    host.plug(description);
  }
  std::size_t calls() const { return host.ledger().size(); }

  VirtualRuntime runtime{1};
  Log log;
  SimulatedPlatform platform{runtime, log, {.needsSettling = true}};
  SimulatedHost& host = platform.host();
  AudioHardware& hardware = platform.hardware();
  DeviceDirectory directory{hardware, runtime.mainQueue()};
};

TEST_F(DeviceDirectoryTest, WhatIsKnownCostsNothingAndADeviceIsReadOnce) {
  int told = 0;
  const auto subscription = directory.devices().observe([&](const auto&) { ++told; });
  EXPECT_EQ(directory.devices()->size(), CoreAudioUtils::allBusDevices(hardware).size() + 3);
  const DeviceFacts microphone = *directory.withUID(SimulatedHost::kMicrophoneUID);
  EXPECT_GT(microphone.inputChannels, 0);
  EXPECT_EQ(microphone.outputChannels, 0);
  const std::string name = directory.channelName(microphone.id, AudioScope::input, 1);
  const std::size_t before = calls();
  EXPECT_EQ(directory.channelName(microphone.id, AudioScope::input, 1), name);
  EXPECT_TRUE(directory.withUID("ToneFerry_UID")->isOwn);
  EXPECT_EQ(calls(), before);

  plugNew(6);
  runtime.settle();
  EXPECT_LE(calls() - before, 8u);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(directory.withUID("New")->sampleRate, 96000);
  EXPECT_EQ(directory.withUID("New")->outputChannels, 6);
  host.setNominalRate("New", 48000);
  runtime.settle();
  EXPECT_EQ(directory.withUID("New")->sampleRate, 48000);
  EXPECT_EQ(told, 2);

  host.restartService();
  runtime.settle();
  directory.forget();
  EXPECT_EQ(directory.withUID("New")->id, CoreAudioUtils::deviceForUID(hardware, "New"));
  host.unplug("New");
  runtime.settle();
  EXPECT_FALSE(directory.withUID("New"));
}

TEST_F(DeviceDirectoryTest, AServerThatWillNotTellIsAskedEachTime) {
  host.faults().failFrom(Operation::addListener, 1, -50);
  EXPECT_EQ(directory.start(), -50);
  plugNew(2);
  runtime.settle();
  EXPECT_TRUE(directory.withUID("New"));
}

// A route that writes down what it is told.
struct ToldRoute final : Route {
  void serverLost() override { story += "lost "; }
  void suspend() override { story += "sleep "; }
  void revalidate(RevalidationReason reason) override {
    story += reason == RevalidationReason::wake           ? "wake "
             : reason == RevalidationReason::deviceChange ? "device "
                                                          : "restart ";
  }
  RouteHealthEntry health() const override { return {"told", "Told", RouteHealthVerdict::healthy, ""}; }
  std::string take() { return std::exchange(story, ""); }
  std::string story;
};

struct RouteKeeperTest : DeviceDirectoryTest {
  RouteKeeper keeper{runtime, platform, directory};
  ToldRoute route;
};

TEST_F(RouteKeeperTest, EachEventIsSettledAndABurstIsOne) {
  const auto registration = keeper.add(route);
  runtime.advance(fromSeconds(1));
  route.take();
  for (int i = 0; i < 3; ++i) {
    host.setDefault(DefaultDevice::output,
                    i % 2 == 0 ? SimulatedHost::kHeadsetUID : SimulatedHost::kSpeakersUID);
    runtime.advance(fromSeconds(0.1));
  }
  EXPECT_EQ(route.take(), "");
  runtime.advance(fromSeconds(0.1));
  EXPECT_EQ(route.take(), "device ");
  host.unplug(SimulatedHost::kMicrophoneUID);
  runtime.advance(fromSeconds(0.2));
  EXPECT_EQ(route.take(), "device ");

  host.restartService();
  host.setDefault(DefaultDevice::output, SimulatedHost::kSpeakersUID);
  runtime.advance(fromSeconds(1.9));
  EXPECT_EQ(route.take(), "lost ") << "nothing is looked at before the server is ready";
  runtime.advance(fromSeconds(0.2));
  EXPECT_NE(route.take().find("restart "), std::string::npos);

  host.sleep();
  host.wake();
  runtime.advance(fromSeconds(0.9));
  host.sleep();
  host.wake();
  runtime.advance(fromSeconds(0.9));
  EXPECT_EQ(route.take(), "sleep sleep ") << "the second sleep takes the first wake back";
  runtime.advance(fromSeconds(0.2));
  EXPECT_EQ(route.take(), "wake ");
}

TEST_F(RouteKeeperTest, AServerThatWouldNotTellIsFollowedOnceItDoes) {
  host.faults().failFrom(Operation::addListener, 1, -50);
  const auto registration = keeper.add(route);
  host.setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  runtime.advance(fromSeconds(0.5));
  EXPECT_EQ(route.take(), "");
  host.faults().clear();
  runtime.advance(fromSeconds(1));
  EXPECT_EQ(route.take(), "device ") << "what it missed";
}

TEST_F(RouteKeeperTest, RoutesAreToldInTheirOrderAndNotOnceTheyAreGone) {
  ToldRoute other;
  auto registration = std::optional(keeper.add(route));
  const auto second = keeper.add(other);
  EXPECT_EQ(keeper.health().size(), 2u);
  registration.reset();
  EXPECT_EQ(keeper.health().size(), 1u);
  host.sleep();
  runtime.settle();
  EXPECT_EQ(route.story, "");
  EXPECT_EQ(other.story, "sleep ");
}

TEST_F(RouteKeeperTest, AWakeThatNobodyWasThereToHearIsNotWaitedFor) {
  {
    const auto registration = keeper.add(route);
    host.sleep();
    runtime.settle();
  }
  host.wake();
  const auto registration = keeper.add(route);
  runtime.advance(fromSeconds(3));
  route.take();
  host.setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  runtime.advance(fromSeconds(0.2));
  EXPECT_EQ(route.take(), "device ");
}

}  // namespace
}  // namespace sonmere
