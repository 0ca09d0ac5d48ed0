// The lock on the default input.
#include <gtest/gtest.h>

#include "InputWorld.h"
#include "input/InputPinEngine.h"

namespace sonmere {
namespace {

constexpr const char* kMicUID = SimulatedHost::kMicrophoneUID;
constexpr const char* kHeadsetUID = SimulatedHost::kHeadsetUID;

struct PinWorld : InputWorld {
  PinWorld() {
    pin = std::make_unique<InputPinEngine>(context);
    pin->launch();
    const auto inputs = *pin->availableInputs;
    pin->select(*std::ranges::find(inputs, kHeadsetUID, &MicDevice::uid));
  }
  std::string defaultInput() { return host().defaultUID(DefaultDevice::input); }
  void take() { host().setDefault(DefaultDevice::input, kMicUID); }
  std::unique_ptr<InputPinEngine> pin;
};

TEST(InputPin, TheChosenDeviceStaysTheDefault) {
  PinWorld world;
  world.wait(2);
  EXPECT_EQ(world.defaultInput(), kMicUID) << "nobody asked yet";
  EXPECT_TRUE(std::ranges::none_of(*world.pin->availableInputs,
                                   [](const auto& each) { return each.uid.starts_with("ToneFerry"); }));
  world.pin->setEnabled(true);
  world.wait(0.1);
  EXPECT_EQ(world.defaultInput(), kHeadsetUID);
  world.take();
  world.wait(0.3);
  EXPECT_EQ(world.defaultInput(), kMicUID) << "not before 0.4 s";
  world.wait(0.2);
  EXPECT_EQ(world.defaultInput(), kHeadsetUID);
  EXPECT_TRUE(world.logged("restored pinned input (default input changed)"));
  EXPECT_EQ(*world.pin->sessionRestoreCount, 2);
  // While it is gone the system's own choice holds.
  world.host().unplug(kHeadsetUID);
  world.wait(3);
  EXPECT_FALSE(*world.pin->pinnedDevicePresent);
  EXPECT_TRUE(world.logged("pinned input absent — standing down"));
  EXPECT_EQ(*world.pin->pinnedName, "USB Headset");
  world.host().replug(kHeadsetUID);
  world.take();
  world.wait(2);
  EXPECT_EQ(world.defaultInput(), kHeadsetUID);
  world.pin->setEnabled(false);
  world.take();
  world.wait(2);
  EXPECT_EQ(world.defaultInput(), kMicUID);
  // As it was left.
  world.pin->setEnabled(true);
  world.pin = std::make_unique<InputPinEngine>(world.context);
  EXPECT_TRUE(*world.pin->isEnabled);
  EXPECT_EQ(world.pin->pinnedUID->value_or(""), kHeadsetUID);
}

TEST(InputPin, TwoProgramsDoNotFightAtFullSpeed) {
  PinWorld world;
  world.pin->setEnabled(true);
  world.wait(2);
  const int before = *world.pin->sessionRestoreCount;
  for (int i = 0; i < 12; ++i) {
    world.take();
    world.wait(0.5);
  }
  EXPECT_EQ(*world.pin->sessionRestoreCount - before, 4) << "with the one at the lock: five in ten seconds";
  EXPECT_TRUE(world.pin->isBackingOff());
  EXPECT_EQ(world.defaultInput(), kMicUID);
  EXPECT_TRUE(
      world.logged("input pin backing off 30s — 5 restores in 10s (another app fighting for the default "
                   "input?)"));
  world.wait(31);
  world.take();
  world.wait(1);
  EXPECT_EQ(world.defaultInput(), kMicUID) << "no change, no look";
  world.host().setDefault(DefaultDevice::input, InputWorld::kBridgeUID);
  world.wait(1);
  EXPECT_EQ(world.defaultInput(), kHeadsetUID);
}

}  // namespace
}  // namespace sonmere
