#include <gtest/gtest.h>

#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

AggregateDescription aggregateOf(const std::vector<std::string>& uids, bool drift = true) {
  AggregateDescription description;
  description.uid = "aggregate";
  description.name = "Aggregate";
  description.isPrivate = false;
  for (const std::string& uid : uids) description.subDevices.push_back({uid, drift});
  return description;
}

// Plays its own constant on every channel of whatever it is on.
OSStatus playChannelNumbers(void* heard, const AudioTimeStamp&, AudioBufferList input,
                            AudioBufferList output) noexcept {
  auto& seen = *static_cast<std::vector<float>*>(heard);
  for (std::size_t i = 0; i < output[0].byteSize / sizeof(float); ++i)
    output[0].data[i] = float(i % output[0].channels + 1);
  seen.assign(input[0].data, input[0].data + input[0].channels);
  return noErr;
}

TEST(SimulatedAggregate, EightTracksAreOneDeviceOfSixteenChannels) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  AudioHardware& hardware = machine.hardware();
  std::vector<std::string> tracks;
  for (int track = 1; track <= 8; ++track) tracks.push_back("ToneFerry_UID_Track_" + std::to_string(track));
  const AudioDeviceID aggregate = hardware.createAggregateDevice(aggregateOf(tracks)).value();
  EXPECT_EQ(hardware.streamConfiguration(aggregate, AudioScope::output), std::vector<std::uint32_t>{16});
  EXPECT_EQ(hardware.streamConfiguration(aggregate, AudioScope::input), std::vector<std::uint32_t>{16});
  EXPECT_EQ(hardware.fullSubDeviceList(aggregate), tracks);
  EXPECT_EQ(hardware.deviceForUID("aggregate"), aggregate);

  std::vector<float> seen;
  const IOProcID procedure = hardware.createIOProc(aggregate, &playChannelNumbers, &seen).value();
  const auto fifth = machine.host().readInput("ToneFerry_UID_Track_5");
  ASSERT_EQ(hardware.startDevice(aggregate, procedure), noErr);
  machine.run(0.5);
  const auto heard = fifth->samples();
  ASSERT_GT(heard.size(), 40000u);
  EXPECT_EQ(heard[heard.size() - 2], 9);
  EXPECT_EQ(heard[heard.size() - 1], 10);
  // What is played on the tracks is what is read from them, each channel in its place.
  std::vector<float> expected;
  for (int channel = 1; channel <= 16; ++channel) expected.push_back(float(channel));
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(hardware.isRunningSomewhere(machine.device("ToneFerry_UID_Track_3")), true);
  hardware.stopDevice(aggregate, procedure);
  hardware.destroyIOProc(aggregate, procedure);
  EXPECT_EQ(hardware.destroyAggregateDevice(aggregate), noErr);
  EXPECT_EQ(machine.host().counts().aggregates, 0u);
}

TEST(SimulatedAggregate, StackedMembersPlayTheSameAndADriftingOneStaysInBounds) {
  VirtualMachine machine;
  // A low rate keeps the hour short.
  machine.host().plug(speakers("A", 8, 8000));
  auto drifting = speakers("B", -60, 8000);
  drifting.bufferFrames = 480;
  machine.host().plug(drifting);
  auto description = aggregateOf({"A", "B"});
  description.isStacked = true;
  description.master = "A";
  const AudioDeviceID aggregate = machine.hardware().createAggregateDevice(description).value();
  EXPECT_EQ(machine.hardware().streamConfiguration(aggregate, AudioScope::output),
            std::vector<std::uint32_t>{2});
  ASSERT_TRUE(machine.host().setDefault(DefaultDevice::output, "aggregate"));
  SimulatedApp app = machine.host().launchApp(program("app"));
  app.play(SampleSources::tone(440, 0.5f));
  // 68 ppm are 1,958 frames in an hour: uncorrected, the bridge between the two would run over.
  machine.run(3600);
  const auto master = machine.host().hear("A");
  const auto member = machine.host().hear("B");
  machine.run(10);
  EXPECT_LT(residueDb(channelOf(master->samples(), 0, 2), 0, 440, 8000), -120);
  const double relative = (1 + 8e-6) / (1 - 60e-6);
  EXPECT_LT(residueDb(channelOf(member->samples(), 1, 2), 0, 440 * relative, 8000), -80);
}

TEST(SimulatedAggregate, WithoutCorrectionTheMemberSlips) {
  for (const bool corrected : {true, false}) {
    VirtualMachine machine;
    machine.host().plug(speakers("A", 0));
    machine.host().plug(speakers("B", 400));
    const AudioDeviceID aggregate =
        machine.hardware().createAggregateDevice(aggregateOf({"A", "B"}, corrected)).value();
    PlayingUnit player(machine.hardware(), aggregate, SampleSources::tone(440, 0.5f), {48000, 2},
                       {-1, -1, 0, 1});
    const auto member = machine.host().hear("B");
    player.unit->start();
    machine.run(60);
    const auto heard = channelOf(member->samples(), 0, 2);
    // A gap of a block of silence, after the first sound.
    std::size_t silent = 0, longest = 0;
    for (std::size_t i = 5000; i < heard.size(); ++i) {
      silent = heard[i] == 0 ? silent + 1 : 0;
      longest = std::max(longest, silent);
    }
    EXPECT_EQ(longest > 100, !corrected);
  }
}

TEST(SimulatedAggregate, SeveralMicrophonesAreOneInput) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  const AudioDeviceID aggregate =
      machine.hardware()
          .createAggregateDevice(aggregateOf({SimulatedHost::kMicrophoneUID, SimulatedHost::kHeadsetUID}))
          .value();
  EXPECT_EQ(machine.hardware().streamConfiguration(aggregate, AudioScope::input),
            std::vector<std::uint32_t>{2});
  CapturingUnit capture(machine.hardware(), aggregate, {48000, 2});
  ASSERT_EQ(capture.unit->start(), noErr);
  machine.run(5);
  EXPECT_LT(residueDb(channelOf(capture.samples, 0, 2), 0, 220, 48000), -100);
  // The headset's own tone, by the built-in microphone's clock.
  EXPECT_LT(residueDb(channelOf(capture.samples, 1, 2), 5000, 330 * (1 - 20e-6) / (1 + 8e-6), 48000), -80);
}

TEST(SimulatedAggregate, SurvivesTheLossOfMembersAndRefusesWhatCannotBe) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  AudioHardware& hardware = machine.hardware();
  EXPECT_EQ(hardware.createAggregateDevice(aggregateOf({"nobody"})),
            std::unexpected(kAudioHardwareBadDeviceError));
  auto wrongMaster = aggregateOf({SimulatedHost::kHeadsetUID});
  wrongMaster.master = "ToneFerry_UID";
  EXPECT_EQ(hardware.createAggregateDevice(wrongMaster), std::unexpected(kAudioHardwareBadDeviceError));

  auto description = aggregateOf({SimulatedHost::kHeadsetUID, "ToneFerry_UID"});
  description.isStacked = true;
  const AudioDeviceID aggregate = hardware.createAggregateDevice(description).value();
  EXPECT_EQ(hardware.createAggregateDevice(description),
            std::unexpected(kAudioHardwareIllegalOperationError));
  EXPECT_EQ(hardware.setDefaultDevice(DefaultDevice::systemOutput, aggregate),
            kAudioHardwareIllegalOperationError);
  ASSERT_EQ(hardware.setDefaultDevice(DefaultDevice::output, aggregate), noErr);
  SimulatedApp app = machine.host().launchApp(program("app"));
  const auto bridge = machine.host().readInput("ToneFerry_UID");
  app.play(SampleSources::counter());
  machine.run(0.5);
  machine.host().unplug(SimulatedHost::kHeadsetUID);
  EXPECT_EQ(machine.host().defaultUID(DefaultDevice::output), "aggregate");
  const std::uint64_t before = bridge->frameCount();
  machine.run(0.5);
  // The bridge is the clock now and gets the program's own blocks.
  EXPECT_EQ(counterBreaks(bridge->samplesFrom(before), 0), 0u);
  machine.host().replug(SimulatedHost::kHeadsetUID);
  const auto headset = machine.host().hear(SimulatedHost::kHeadsetUID);
  machine.run(0.5);
  EXPECT_EQ(counterBreaks(headset->samples(), 0), 0u);
  hardware.destroyAggregateDevice(aggregate);
  EXPECT_EQ(machine.host().defaultUID(DefaultDevice::output), SimulatedHost::kSpeakersUID);
}

}  // namespace
}  // namespace sonmere
