// What the engines ask of an audio server, the same of every platform: devices, taps and aggregates.

#include "Boundary.h"

namespace sonmere {

TEST_P(Boundary, DevicesAreFoundByWhatPersists) {
  const AudioDeviceID track = machine->device(kTrack + "1");
  ASSERT_NE(track, kAudioObjectUnknown);
  EXPECT_EQ(std::ranges::count(hardware.devices().value(), track), 1);
  EXPECT_EQ(hardware.deviceUID(track), kTrack + "1");
  EXPECT_EQ(channels(track, AudioScope::output), std::vector<std::uint32_t>{2});
  EXPECT_EQ(channels(track, AudioScope::input), std::vector<std::uint32_t>{2});
  EXPECT_TRUE(channels(machine->device(machine->speakerUID()), AudioScope::input).empty());
  EXPECT_EQ(hardware.isAlive(track), true);
  EXPECT_EQ(hardware.deviceForUID("nobody"), kAudioObjectUnknown);
  constexpr AudioDeviceID kGone = 987654;
  EXPECT_FALSE(hardware.deviceName(kGone));
  EXPECT_FALSE(hardware.nominalSampleRate(kGone));
  EXPECT_NE(hardware.setBufferFrameSize(kGone, 256), noErr);
  EXPECT_FALSE(hardware.createIOProc(kGone, Ear::run, nullptr));
}

TEST_P(Boundary, ADeviceTellsItsRatesItsBufferAndItsChannels) {
  ASSERT_TRUE(hardware.hasOutputComponent());
  ASSERT_TRUE(hardware.supportsProcessTaps());
  for (const std::string& uid : {kTrack + "1", machine->speakerUID(), machine->microphoneUID()}) {
    const AudioDeviceID device = machine->device(uid);
    const double rate = hardware.nominalSampleRate(device).value();
    const auto rates = hardware.availableNominalSampleRates(device);
    ASSERT_TRUE(rates) << uid;
    EXPECT_TRUE(std::ranges::any_of(*rates, [&](const AudioValueRange& each) {
      return each.minimum <= rate && rate <= each.maximum;
    })) << uid;
    EXPECT_GE(hardware.bufferFrameSize(device).value_or(0), 16u) << uid;
    EXPECT_FALSE(hardware.deviceName(device).value_or("").empty());
    EXPECT_FALSE(hardware.channelName(device, AudioScope::output, 99)) << "it has no such channel";
    for (const AudioScope scope : {AudioScope::input, AudioScope::output})
      EXPECT_EQ(hardware.hasDataSource(device, scope), hardware.dataSource(device, scope).has_value()) << uid;
  }
  const AudioDeviceID track = machine->device(kTrack + "1");
  ASSERT_EQ(hardware.setBufferFrameSize(track, 512), noErr);
  EXPECT_TRUE(machine->until([&] { return hardware.bufferFrameSize(track) == 512u; }));
}

TEST_P(Boundary, TheDefaultIsFollowedWhoeverSetsIt) {
  int changes = 0;
  ASSERT_TRUE(hardware.addListener(kAudioObjectSystemObject, AudioProperty::defaultOutput, AudioScope::global,
                                   machine->runtime().mainQueue(), [&] { ++changes; }));
  const AudioDeviceID track = machine->device(kTrack + "2"), speaker = machine->device(machine->speakerUID());
  EXPECT_EQ(hardware.setDefaultDevice(DefaultDevice::output, track), noErr);
  EXPECT_EQ(hardware.defaultDevice(DefaultDevice::output), track);
  EXPECT_TRUE(machine->until([&] { return changes > 0; }));
  machine->chooseOutput(machine->speakerUID());
  EXPECT_TRUE(machine->until([&] { return hardware.defaultDevice(DefaultDevice::output) == speaker; }));
  EXPECT_NE(hardware.setDefaultDevice(DefaultDevice::input, speaker), noErr) << "it has no input side";
}

TEST_P(Boundary, EightTracksAreOneDeviceWithBothSides) {
  std::vector<std::string> tracks;
  for (int i = 1; i <= 8; ++i) tracks.push_back(kTrack + std::to_string(i));
  const auto aggregate = hardware.createAggregateDevice(aggregateOf(tracks));
  ASSERT_TRUE(aggregate) << aggregate.error();
  EXPECT_EQ(channels(*aggregate, AudioScope::output), std::vector<std::uint32_t>{16});
  EXPECT_EQ(channels(*aggregate, AudioScope::input), std::vector<std::uint32_t>{16});
  EXPECT_EQ(hardware.fullSubDeviceList(*aggregate), tracks);
  EXPECT_EQ(hardware.transportType(*aggregate), TransportType::aggregate);
  Ear ear;
  ear.plays = true;
  {
    const Running both(hardware, *aggregate, ear);
    ASSERT_EQ(both.status, noErr);
    EXPECT_TRUE(machine->until([&] {
      for (std::size_t i = 0; i < 16; ++i)
        if (!ear.hears(i, float(i + 1) / 64)) return false;
      return true;
    })) << "the fifth channel gives "
        << ear.input[4] * 64;
  }
  EXPECT_EQ(hardware.destroyAggregateDevice(*aggregate), noErr);
  EXPECT_NE(hardware.destroyAggregateDevice(*aggregate), noErr);
}

TEST_P(Boundary, AnAggregateHasTheSidesThatItIsMadeWith) {
  AggregateDescription description = aggregateOf({machine->microphoneUID(), kTrack + "1"});
  const auto microphone = channels(machine->device(machine->microphoneUID()), AudioScope::input);
  description.sides = AggregateSides::input;
  const auto input = hardware.createAggregateDevice(description);
  ASSERT_TRUE(input);
  EXPECT_EQ(channels(*input, AudioScope::input), std::vector<std::uint32_t>{microphone.at(0) + 2});
  EXPECT_TRUE(channels(*input, AudioScope::output).empty());
  EXPECT_EQ(hardware.destroyAggregateDevice(*input), noErr);
  description.sides = AggregateSides::output;
  const auto output = hardware.createAggregateDevice(description);
  ASSERT_TRUE(output);
  EXPECT_TRUE(channels(*output, AudioScope::input).empty());
  EXPECT_EQ(channels(*output, AudioScope::output), std::vector<std::uint32_t>{2});
  EXPECT_EQ(hardware.destroyAggregateDevice(*output), noErr);
}

// The one before may be on its way out still.
TEST_P(Boundary, AnAggregateIsMadeAnewUnderItsName) {
  for (int round = 0; round < 12; ++round) {
    AggregateDescription description = aggregateOf({kTrack + "1", kTrack + "2"});
    description.sides = round % 2 == 0 ? AggregateSides::both : AggregateSides::output;
    const auto aggregate = hardware.createAggregateDevice(description);
    ASSERT_TRUE(aggregate) << "round " << round;
    EXPECT_EQ(hardware.deviceUID(*aggregate), "aggregate");
    EXPECT_EQ(channels(*aggregate, AudioScope::output), std::vector<std::uint32_t>{4});
    EXPECT_EQ(channels(*aggregate, AudioScope::input).empty(), round % 2 != 0);
    EXPECT_EQ(hardware.isAlive(*aggregate), true);
    EXPECT_EQ(hardware.destroyAggregateDevice(*aggregate), noErr);
  }
}

// A tap hears its program; a muted one takes it from its device, and gives it back.
TEST_P(Boundary, AMutedTapSilencesWhatItHears) {
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "3"));
  Ear device, ear;
  const Running listening(hardware, machine->device(kTrack + "3"), device);
  ASSERT_TRUE(machine->until([&] { return device.hears(0, 0.5f); })) << device.input[0];
  for (const TapMute mute : {TapMute::unmuted, TapMute::muted}) {
    auto tapped = tap({"", machine->processesOf(kPlayer), true, false, mute}, ear);
    ASSERT_TRUE(tapped);
    EXPECT_TRUE(machine->until([&] { return ear.hears(1, 0.5f); }));
    EXPECT_TRUE(machine->until([&] { return device.hears(0, mute == TapMute::muted ? 0 : 0.5f); }));
    destroyTapAggregate(hardware, *tapped);
    ear.input[1] = 0;
  }
  EXPECT_TRUE(machine->until([&] { return device.hears(0, 0.5f); }));
}

// All but these: a muted one takes every other program from its device. What this program plays is never
// heard by a tap.
TEST_P(Boundary, AnExclusiveTapTakesAllOthersButNotThisProgram) {
  const auto own = hardware.processForPID(machine->ownPID());
  ASSERT_TRUE(own);
  ASSERT_NE(*own, kAudioObjectUnknown);
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "3"));
  Ear device, ear;
  device.plays = true;  // 1/64 and 2/64, added to what programs play there
  const Running playing(hardware, machine->device(kTrack + "3"), device);
  ASSERT_TRUE(machine->until([&] { return device.hears(0, 0.5f + 1 / 64.0f); })) << device.input[0];
  auto tapped = tap({"", {*own}, true, true, TapMute::muted}, ear);
  ASSERT_TRUE(tapped);
  EXPECT_TRUE(machine->until([&] { return ear.hears(0, 0.5f) && device.hears(0, 1 / 64.0f); }))
      << ear.input[0] << " in the tap, " << device.input[0] << " on the device";
  destroyTapAggregate(hardware, *tapped);
  EXPECT_TRUE(machine->until([&] { return device.hears(0, 0.5f + 1 / 64.0f); })) << device.input[0];
}

// The app's own tap and one over all: neither takes the app from the other, whichever goes first.
TEST_P(Boundary, AnAppInAMutedTapIsHeardByAMutedOneOverAllToo) {
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "3"));
  Ear device, own, all;
  const Running listening(hardware, machine->device(kTrack + "3"), device);
  for (const bool goesFirst : {true, false}) {
    auto ownTap = tap({"", machine->processesOf(kPlayer), true, false, TapMute::muted}, own);
    ASSERT_TRUE(ownTap);
    ASSERT_TRUE(machine->until([&] { return own.hears(0, 0.5f); }));
    auto overAll = tap({"", {}, true, true, TapMute::muted}, all, "over all");
    ASSERT_TRUE(overAll);
    EXPECT_TRUE(machine->until([&] { return own.hears(0, 0.5f) && all.hears(0, 0.5f); }))
        << own.input[0] << " in its own, " << all.input[0] << " in that over all";
    EXPECT_TRUE(machine->until([&] { return device.hears(0, 0); }));
    destroyTapAggregate(hardware, goesFirst ? *ownTap : *overAll);
    Ear& left = goesFirst ? all : own;
    left.input[0] = 0;
    EXPECT_TRUE(machine->until([&] { return left.hears(0, 0.5f); })) << left.input[0];
    EXPECT_TRUE(device.hears(0, 0)) << "it is in a muted tap still";
    destroyTapAggregate(hardware, goesFirst ? *overAll : *ownTap);
    EXPECT_TRUE(machine->until([&] { return device.hears(0, 0.5f); })) << device.input[0];
    own.input[0] = all.input[0] = 0;
  }
}

TEST_P(Boundary, TheBufferSizeOfARunningTapChanges) {
  ASSERT_TRUE(machine->untilPlaying(kPlayer, machine->speakerUID()));
  Ear ear;
  auto tapped = tap({"", machine->processesOf(kPlayer), true, false, TapMute::muted}, ear);
  ASSERT_TRUE(tapped);
  ASSERT_TRUE(machine->until([&] { return ear.hears(0, 0.5f); }));
  for (const std::uint32_t frames : {512u, 256u, 512u}) {
    EXPECT_EQ(hardware.setBufferFrameSize(tapped->aggDeviceID, frames), noErr);
    EXPECT_TRUE(machine->until([&] { return ear.frames == frames; })) << ear.frames;
    ear.input[0] = 0;
    EXPECT_TRUE(machine->until([&] { return ear.hears(0, 0.5f); }));
  }
  destroyTapAggregate(hardware, *tapped);
}

TEST_P(Boundary, ARateIsOneDevicesUnlessItIsShared) {
  const AudioDeviceID one = machine->device(kTrack + "1"), other = machine->device(kTrack + "2");
  const double before = hardware.nominalSampleRate(other).value();
  ASSERT_EQ(hardware.setNominalSampleRate(one, 44100), noErr);
  EXPECT_TRUE(machine->until([&] { return hardware.nominalSampleRate(one) == 44100.0; }));
  EXPECT_EQ(hardware.nominalSampleRate(other), hardware.sampleRateIsShared() ? 44100.0 : before);
  EXPECT_NE(hardware.setNominalSampleRate(one, 3), noErr);
  EXPECT_EQ(hardware.setNominalSampleRate(one, before), noErr);
}

// What a tap delivers is at the rate that its aggregate tells, whatever becomes of the device's.
TEST_P(Boundary, ATapDeliversAtTheRateThatItsAggregateTells) {
  const AudioDeviceID track = machine->device(kTrack + "3");
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "3"));
  Ear ear, device;
  auto tapped = tap({"", machine->processesOf(kPlayer), true, false, TapMute::unmuted}, ear);
  ASSERT_TRUE(tapped);
  const Running listening(hardware, track, device);
  const double rate = hardware.nominalSampleRate(tapped->aggDeviceID).value();
  ASSERT_EQ(hardware.setNominalSampleRate(track, 2 * rate), noErr);
  ASSERT_TRUE(machine->until([&] { return hardware.nominalSampleRate(track) == 2 * rate; }));
  const auto deliversWhatItTells = [&] {
    ASSERT_TRUE(machine->until([&, from = ear.cycles + 4] { return ear.cycles > from; }));
    const std::int64_t heard = ear.passed, played = device.passed;
    ASSERT_TRUE(machine->until([&] { return device.passed > played + 20000; }));
    const double told = hardware.nominalSampleRate(tapped->aggDeviceID).value() / (2 * rate);
    EXPECT_NEAR(double(ear.passed - heard) / double(device.passed - played), told, 0.1);
  };
  deliversWhatItTells();
  for (const double other : {2 * rate, rate}) {
    EXPECT_EQ(hardware.setNominalSampleRate(tapped->aggDeviceID, other), noErr);
    EXPECT_EQ(hardware.nominalSampleRate(tapped->aggDeviceID), other);
    deliversWhatItTells();
  }
  destroyTapAggregate(hardware, *tapped);
  EXPECT_EQ(hardware.setNominalSampleRate(track, rate), noErr);
}

TEST_P(Boundary, VolumesAndRunningAreTold) {
  const AudioDeviceID speaker = machine->device(machine->speakerUID());
  EXPECT_EQ(hardware.setVolume(speaker, AudioScope::output, 0.25f), noErr);
  EXPECT_TRUE(machine->until(
      [&] { return std::abs(hardware.volume(speaker, AudioScope::output).value_or(1) - 0.25f) < 1e-3f; }));
  EXPECT_EQ(hardware.setVolume(speaker, AudioScope::output, 1), noErr);

  const AudioDeviceID track = machine->device(kTrack + "6");
  int changes = 0;
  const auto listener = hardware.addListener(track, AudioProperty::isRunningSomewhere, AudioScope::global,
                                             machine->runtime().mainQueue(), [&] { ++changes; });
  ASSERT_TRUE(listener);
  {
    Ear ear;
    const Running running(hardware, track, ear);
    EXPECT_TRUE(machine->until([&] { return hardware.isRunningSomewhere(track).value_or(false); }));
    EXPECT_TRUE(machine->until([&] { return changes > 0; }));
  }
  EXPECT_TRUE(machine->until([&] { return !hardware.isRunningSomewhere(track).value_or(true); }));
  EXPECT_EQ(hardware.removeListener(*listener), noErr);
  EXPECT_NE(hardware.removeListener(*listener), noErr);
  (void)machine->until([turns = 0]() mutable { return ++turns > 20; });
  changes = 0;
  Ear ear;
  const Running running(hardware, track, ear);
  EXPECT_TRUE(machine->until([&] { return ear.cycles > 20; }));
  EXPECT_EQ(changes, 0) << "whoever has taken the listener away hears nothing";
}

TEST_P(Boundary, ProgramsAreToldAsTheyComePlayAndGo) {
  int listed = 0, running = 0;
  ASSERT_TRUE(hardware.addListener(kAudioObjectSystemObject, AudioProperty::processObjectList,
                                   AudioScope::global, machine->runtime().mainQueue(), [&] { ++listed; }));
  ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "7"));
  EXPECT_TRUE(machine->until([&] { return listed > 0; }));
  const auto processes = machine->processesOf(kPlayer);
  ASSERT_EQ(processes.size(), 1u);
  const auto pid = hardware.processPID(processes[0]);
  ASSERT_TRUE(pid);
  EXPECT_EQ(hardware.processForPID(*pid), processes[0]);
  EXPECT_EQ(hardware.processDevices(processes[0]),
            (std::vector<AudioDeviceID>{machine->device(kTrack + "7")}));
  ASSERT_TRUE(hardware.addListener(processes[0], AudioProperty::isRunningOutput, AudioScope::global,
                                   machine->runtime().mainQueue(), [&] { ++running; }));
  listed = 0;
  machine->end(kPlayer);
  EXPECT_TRUE(machine->until([&] { return listed > 0 && machine->processesOf(kPlayer).empty(); }));
  EXPECT_FALSE(hardware.processPID(processes[0]));
  EXPECT_FALSE(hardware.processIsRunningOutput(processes[0]).value_or(false));
  EXPECT_FALSE(hardware.createProcessTap({"", processes, true, false, TapMute::unmuted}));
}

TEST_P(Boundary, WhatCannotBeDoneIsRefused) {
  EXPECT_FALSE(hardware.createProcessTap({"", {987654}, true, false, TapMute::unmuted})) << "no such process";
  EXPECT_FALSE(hardware.createAggregateDevice(aggregateOf({"nobody"})));
  EXPECT_NE(hardware.destroyProcessTap(987654), noErr);
  EXPECT_NE(hardware.destroyAggregateDevice(987654), noErr);
  for (const std::uint32_t frames : {0u, 1u << 20})
    EXPECT_NE(hardware.setBufferFrameSize(machine->device(kTrack + "1"), frames), noErr) << frames;
  EXPECT_EQ(hardware.processForPID(1), kAudioObjectUnknown) << "it plays nothing";
}

INSTANTIATE_TEST_SUITE_P(Simulated, Boundary, testing::Values(newSimulatedMachine));
INSTANTIATE_TEST_SUITE_P(PipeWire, Boundary, testing::Values(newPipeWireMachine));

}  // namespace sonmere
