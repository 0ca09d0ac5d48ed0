// The server's small siblings: permissions, privileges, login item, power, capture engine.

#include <gtest/gtest.h>

#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

TEST(SimulatedSiblings, ThePermissionIsAskedForOnceAndTheAnswerStays) {
  VirtualMachine machine(1, {.microphone = PermissionStatus::notDetermined});
  Permissions& permissions = machine.platform.permissions();
  const auto ask = [&] {
    std::optional<bool> answer;
    permissions.request(Permission::microphone, [&](bool granted) { answer = granted; });
    EXPECT_FALSE(answer) << "the answer comes on the main queue";
    machine.run(0);
    return answer.value();
  };
  machine.host().permissions().setAnswer(false);
  EXPECT_FALSE(ask());
  EXPECT_EQ(permissions.status(Permission::microphone), PermissionStatus::denied);
  machine.host().permissions().setAnswer(true);
  EXPECT_FALSE(ask()) << "a denied permission is only given back in the settings";
  machine.host().permissions().set(Permission::microphone, PermissionStatus::notDetermined);
  EXPECT_TRUE(ask());
  EXPECT_EQ(permissions.status(Permission::microphone), PermissionStatus::authorized);
  EXPECT_EQ(permissions.status(Permission::audioCapture), PermissionStatus::authorized);
  EXPECT_EQ(machine.host().permissions().requestCount(), 3);
}

TEST(SimulatedSiblings, PrivilegedCommandsAndTheLoginItemCanBeRefused) {
  VirtualMachine machine;
  std::string told;
  const auto run = [&](const std::string& command) {
    told = "nothing yet";
    machine.platform.privilegedCommand().run(command, [&](const Outcome<void>& outcome) {
      told = outcome ? "done" : outcome.error().description;
    });
    EXPECT_EQ(told, "nothing yet");
    machine.run(0);
    return told;
  };
  SimulatedPrivileges& privileges = machine.host().privileges();
  int effects = 0;
  privileges.setEffect([&](const std::string& command) -> Outcome<void> {
    ++effects;
    if (command == "fail") return std::unexpected(Error{"test", 3, "disk full"});
    return {};
  });
  EXPECT_EQ(run("install"), "done");
  EXPECT_EQ(run("fail"), "Privileged operation failed: disk full");
  privileges.setCancelled(true);
  EXPECT_EQ(run("install"), "Operation was cancelled by the user.");
  EXPECT_EQ(effects, 2) << "a cancelled command never runs";
  EXPECT_EQ(privileges.commands(), (std::vector<std::string>{"install", "fail", "install"}));

  LoginItem& item = machine.platform.loginItem();
  EXPECT_FALSE(item.isEnabled());
  EXPECT_TRUE(item.registerItem());
  machine.host().loginItem().refuse(Error{"test", 7, "not allowed"});
  EXPECT_EQ(item.unregisterItem().error().description, "not allowed");
  EXPECT_TRUE(item.isEnabled());
  machine.host().loginItem().refuse(std::nullopt);
  EXPECT_TRUE(item.unregisterItem());
  EXPECT_FALSE(item.isEnabled());
  machine.host().loginItem().set(true);
  EXPECT_TRUE(item.isEnabled());
}

TEST(SimulatedSiblings, DataSourcesAndTheEndOfTheSessionAreAnnounced) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  AudioHardware& hardware = machine.hardware();
  const AudioDeviceID speakers = machine.device(SimulatedHost::kSpeakersUID);
  int outputs = 0, inputs = 0, ends = 0;
  for (const auto& [scope, count] :
       {std::pair{AudioScope::output, &outputs}, std::pair{AudioScope::input, &inputs}})
    ASSERT_TRUE(hardware.addListener(speakers, AudioProperty::dataSource, scope, machine.runtime.mainQueue(),
                                     [count] { ++*count; }));
  EXPECT_EQ(hardware.dataSource(speakers, AudioScope::output), kDataSourceInternalSpeaker);
  EXPECT_FALSE(hardware.hasDataSource(speakers, AudioScope::input));
  machine.host().setDataSource(SimulatedHost::kSpeakersUID, AudioScope::output, kDataSourceHeadphones);
  machine.host().setDataSource(SimulatedHost::kSpeakersUID, AudioScope::output, kDataSourceHeadphones);
  machine.run(0);
  EXPECT_EQ(hardware.dataSource(speakers, AudioScope::output), kDataSourceHeadphones);
  EXPECT_EQ(outputs, 1);
  EXPECT_EQ(inputs, 0);
  EXPECT_THROW(machine.host().setDataSource("nobody", AudioScope::output, 1), std::invalid_argument);

  {
    const auto observer = machine.platform.powerEvents().observeWillTerminate([&] { ++ends; });
    machine.host().endSession();
    machine.run(0);
    EXPECT_EQ(ends, 1);
    machine.host().endSession();
  }
  machine.run(0);
  EXPECT_EQ(ends, 1) << "an observation that has ended is not told what was on its way";

  AggregateDescription description;
  description.uid = "two";
  description.subDevices = {{SimulatedHost::kSpeakersUID, false}, {SimulatedHost::kHeadsetUID, true}};
  const AudioDeviceID aggregate = hardware.createAggregateDevice(description).value();
  EXPECT_EQ(machine.host().aggregateUIDs(), std::vector<std::string>{"two"});
  hardware.destroyAggregateDevice(aggregate);
  EXPECT_TRUE(machine.host().aggregateUIDs().empty());
}

TEST(SimulatedSiblings, ATapInstalledOnARunningCaptureHearsFromThenOn) {
  VirtualMachine machine;
  machine.host().installDriver();
  const AudioDeviceID bridge = machine.device("ToneFerry_UID");
  PlayingUnit player(machine.hardware(), bridge, SampleSources::counter());
  player.unit->start();
  const auto engine = machine.platform.newCaptureEngine();
  ASSERT_EQ(engine->setCurrentDevice(bridge), noErr);
  ASSERT_EQ(engine->start(), noErr);
  std::vector<float> captured;
  const auto take = [&](const CapturedBlock& block) {
    captured.insert(captured.end(), block.samples, block.samples + 2 * std::size_t(block.frames));
  };
  for (int round = 1; round <= 2; ++round) {
    machine.run(1);
    EXPECT_TRUE(captured.empty()) << "nobody takes";
    ASSERT_EQ(engine->installTap(1024, {48000, 2}, take), noErr);
    EXPECT_EQ(engine->installTap(1024, {48000, 2}, take), kAudioHardwareIllegalOperationError);
    machine.run(0.5);
    ASSERT_GT(captured.size(), 2u * 20000);
    EXPECT_GT(captured[0] * 0x1p24f, float(48000 * round - 1024)) << "nothing from before";
    EXPECT_EQ(counterBreaks(captured, 0), 0u);
    engine->removeTap();
    captured.clear();
  }
  EXPECT_TRUE(engine->isRunning());
  EXPECT_EQ(engine->setCurrentDevice(bridge), kAudioHardwareIllegalOperationError) << "only when stopped";
  engine->stop();
  EXPECT_FALSE(engine->isRunning());
}

}  // namespace
}  // namespace sonmere
