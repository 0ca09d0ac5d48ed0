// What the server refuses, and that a refusal changes nothing.

#include <gtest/gtest.h>

#include <fmt/format.h>

#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

using Denied = std::unexpected<OSStatus>;

TEST(SimulatedRules, TapsNeedLeaveToCaptureAudio) {
  VirtualMachine machine(1, {.audioCapture = PermissionStatus::notDetermined});
  machine.host().plugStandardMachine();
  const TapDescription tap{"tap", {machine.host().launchApp(program("app")).objectID()}};
  SimulatedPermissions& permissions = machine.host().permissions();
  for (const auto status :
       {PermissionStatus::notDetermined, PermissionStatus::denied, PermissionStatus::restricted}) {
    permissions.set(Permission::audioCapture, status);
    EXPECT_EQ(machine.hardware().createProcessTap(tap), Denied(kAudioDevicePermissionsError));
  }
  machine.host().faults().failNth(Operation::createProcessTap, 1, -50);
  EXPECT_EQ(machine.hardware().createProcessTap(tap), Denied(-50)) << "a fault goes before";
  EXPECT_EQ(machine.host().counts().taps, 0u);
  permissions.set(Permission::audioCapture, PermissionStatus::notDetermined);
  machine.platform.permissions().request(Permission::audioCapture, [](bool) {});
  EXPECT_TRUE(machine.hardware().createProcessTap(tap));
}

TEST(SimulatedRules, WithoutTheMicrophoneThisProgramReadsSilence) {
  VirtualMachine machine(1, {.microphone = PermissionStatus::denied});
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  const AudioDeviceID microphone = machine.device(SimulatedHost::kMicrophoneUID);
  CapturingUnit capture(machine.hardware(), microphone, {48000, 1});
  AggregateDescription both;
  both.uid = "both";
  both.subDevices = {{"ToneFerry_UID", false}, {SimulatedHost::kMicrophoneUID, true}};
  const AudioDeviceID aggregate = machine.hardware().createAggregateDevice(both).value();
  CapturingUnit spread(machine.hardware(), aggregate, {48000, 3});
  const auto other = machine.host().readInput(SimulatedHost::kMicrophoneUID);
  PlayingUnit player(machine.hardware(), machine.device("ToneFerry_UID"), SampleSources::counter());
  for (OutputUnit* unit : {capture.unit.get(), spread.unit.get(), player.unit.get()})
    ASSERT_EQ(unit->start(), noErr);
  machine.run(0.5);
  ASSERT_GT(capture.samples.size(), 20000u);
  EXPECT_EQ(capture.samples, std::vector<float>(capture.samples.size(), 0.0f));
  const auto third = channelOf(spread.samples, 2, 3);
  EXPECT_EQ(third, std::vector<float>(third.size(), 0.0f));
  EXPECT_GT(spread.samples[spread.samples.size() - 3], 0) << "a virtual device is no microphone";
  EXPECT_GT(other->takePeak(), 0.09f) << "other programs have their own permissions";
  machine.host().permissions().set(Permission::microphone, PermissionStatus::authorized);
  capture.samples.clear();
  machine.run(0.1);
  EXPECT_LT(residueDb(capture.samples, 0, 220, 48000), -120);
}

TEST(SimulatedRules, OldUnitsMustBeInitializedAgainAfterARestart) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  PlayingUnit player(machine.hardware(), machine.device(SimulatedHost::kSpeakersUID),
                     SampleSources::counter());
  machine.host().restartService();
  EXPECT_EQ(player.unit->initialize(), kAudioHardwareBadDeviceError);
  ASSERT_EQ(player.unit->setCurrentDevice(machine.device(SimulatedHost::kHeadsetUID)), noErr);
  EXPECT_EQ(player.unit->start(), kAudioUnitErrUninitialized);
  EXPECT_EQ(player.unit->initialize(), noErr);
  EXPECT_EQ(player.unit->start(), noErr);
}

TEST(SimulatedRules, VolumesAndRatesAreThoseThatTheDeviceHas) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  AudioHardware& hardware = machine.hardware();
  const AudioDeviceID microphone = machine.device(SimulatedHost::kMicrophoneUID);
  EXPECT_EQ(hardware.setVolume(microphone, AudioScope::input, 0.5f), noErr);
  EXPECT_EQ(hardware.volume(microphone, AudioScope::input), 0.5f);
  EXPECT_EQ(hardware.volume(microphone, AudioScope::output), Denied(kAudioHardwareUnknownPropertyError));
  EXPECT_EQ(hardware.setVolume(microphone, AudioScope::output, 0.5f), kAudioHardwareUnknownPropertyError);

  EXPECT_EQ(hardware.setNominalSampleRate(microphone, 44100.7), noErr);
  EXPECT_EQ(hardware.nominalSampleRate(microphone), 44100);
  EXPECT_EQ(hardware.setNominalSampleRate(microphone, 44102), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(hardware.setNominalSampleRate(microphone, std::nan("")), kAudioDeviceUnsupportedFormatError);
}

TEST(SimulatedRules, AProgramIsOnADeviceOnlyWhileItPlays) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  SimulatedApp app = machine.host().launchApp(program("app"));
  using IDs = std::vector<AudioDeviceID>;
  const IDs speakersOnly{machine.device(SimulatedHost::kSpeakersUID)};
  EXPECT_EQ(machine.hardware().processDevices(app.objectID()), IDs{});
  app.play(SampleSources::silence());
  EXPECT_EQ(machine.hardware().processDevices(app.objectID()), speakersOnly);
  app.pause();
  EXPECT_EQ(machine.hardware().processDevices(app.objectID()), IDs{});
}

TEST(SimulatedRules, ARunningTapRunsTheDeviceThatClocksIt) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  SimulatedApp app = machine.host().launchApp(program("app"));
  app.setDevice(SimulatedHost::kHeadsetUID);
  const AudioDeviceID headset = machine.device(SimulatedHost::kHeadsetUID);
  TapProbe probe(machine.hardware(), {app.objectID()}, TapMute::unmuted);
  EXPECT_EQ(machine.hardware().isRunningSomewhere(headset), false);
  probe.start();
  EXPECT_EQ(machine.hardware().isRunningSomewhere(headset), true);
  EXPECT_EQ(machine.hardware().isRunningSomewhere(machine.device(SimulatedHost::kSpeakersUID)), false);
  probe.stop();
  EXPECT_EQ(machine.hardware().isRunningSomewhere(headset), false);
}

TEST(SimulatedRules, DriverDevicesCanBeListedBeforeTheirUIDsAreFound) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  const AudioDeviceID bridge = machine.device("ToneFerry_UID");
  machine.host().setTranslationLag(true);
  EXPECT_EQ(machine.hardware().deviceForUID("ToneFerry_UID"), kAudioObjectUnknown);
  const auto listed = machine.hardware().devices().value();
  EXPECT_NE(std::ranges::find(listed, bridge), listed.end());
  EXPECT_EQ(machine.hardware().deviceUID(bridge), "ToneFerry_UID");
  EXPECT_NE(machine.hardware().deviceForUID(SimulatedHost::kSpeakersUID), kAudioObjectUnknown);
  machine.host().setTranslationLag(false);
  EXPECT_EQ(machine.hardware().deviceForUID("ToneFerry_UID"), bridge);
}

TEST(SimulatedRules, AMutedTapLeavesThisProgramAndOtherDevicesAlone) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  SimulatedApp tapped = machine.host().launchApp(program("tapped"));
  SimulatedApp elsewhere = machine.host().launchApp(program("elsewhere"));
  elsewhere.setDevice(SimulatedHost::kHeadsetUID);
  PlayingUnit own(machine.hardware(), machine.device(SimulatedHost::kSpeakersUID), SampleSources::counter());
  own.unit->start();
  TapProbe probe(machine.hardware(), {tapped.objectID()}, TapMute::muted);
  probe.start();
  const auto here = machine.host().hear(SimulatedHost::kSpeakersUID);
  const auto there = machine.host().hear(SimulatedHost::kHeadsetUID);
  tapped.play(SampleSources::noise(1, 0.5f));
  elsewhere.play(SampleSources::counter());
  machine.run(0.2);
  EXPECT_EQ(counterBreaks(here->samples(), 0), 0u) << "this program's sound alone";
  EXPECT_EQ(counterBreaks(there->samples(), 0), 0u);
  // It stays silent wherever it goes.
  tapped.setDevice(SimulatedHost::kHeadsetUID);
  machine.run(0.2);
  EXPECT_EQ(counterBreaks(there->samples(), 0), 0u);
}

// A machine with one of everything, and every operation of the boundary on it.
struct Everything {
  Everything() {
    machine.host().plugStandardMachine();
    app = machine.host().launchApp(program("app"));
    app.play(SampleSources::silence());
    process = app.objectID();
    headset = machine.device(SimulatedHost::kHeadsetUID);
    tap = hardware.createProcessTap({"tap", {process}, true, false, TapMute::muted}).value();
    description.uid = "aggregate";
    description.tapUIDs = {hardware.tapUID(tap).value()};
    aggregate = hardware.createAggregateDevice(description).value();
    procedure = hardware.createIOProc(aggregate, &idle, nullptr).value();
    spare = hardware.createIOProc(aggregate, &idle, nullptr).value();
    EXPECT_EQ(hardware.startDevice(aggregate, procedure), noErr);
    listener = hardware
                   .addListener(headset, AudioProperty::isAlive, AudioScope::global,
                                machine.runtime.mainQueue(), [] {})
                   .value();
    running = std::make_unique<PlayingUnit>(hardware, headset, SampleSources::silence());
    EXPECT_EQ(running->unit->start(), noErr);
    ready = std::make_unique<PlayingUnit>(hardware, headset, SampleSources::silence());
    fresh = hardware.newOutputUnit().value();
    EXPECT_EQ(capture->setCurrentDevice(headset), noErr);
  }
  static OSStatus idle(void*, const AudioTimeStamp&, AudioBufferList, AudioBufferList) noexcept {
    return noErr;
  }

  // All that the boundary and the host can tell, as text.
  std::string look() {
    const auto counts = machine.host().counts();
    std::string seen = fmt::format("{} {} {} {} {} {} {} {}\n", counts.taps, counts.aggregates,
                                   counts.ioProcs, counts.runningIOProcs, counts.units, counts.runningUnits,
                                   counts.captures, counts.listeners);
    const auto devices = hardware.devices().value();
    for (const AudioDeviceID id : devices)
      seen += fmt::format("{} {} {} {} {}\n", hardware.deviceUID(id).value(),
                          hardware.nominalSampleRate(id).value(), hardware.bufferFrameSize(id).value(),
                          hardware.volume(id, AudioScope::output).value_or(-1),
                          hardware.isRunningSomewhere(id).value());
    for (const auto role : {DefaultDevice::output, DefaultDevice::input, DefaultDevice::systemOutput})
      seen += machine.host().defaultUID(role) + "\n";
    for (const auto* unit : {running->unit.get(), ready->unit.get(), fresh.get()})
      seen += fmt::format("{} ", unit->currentDevice().value());
    return seen +
           fmt::format("{} {} {}", capture->currentDevice().value(), capture->isRunning(), app.isSilenced());
  }

  VirtualMachine machine;
  AudioHardware& hardware = machine.hardware();
  SimulatedApp app;
  AudioObjectID process = 0, tap = 0;
  AudioDeviceID headset = 0, aggregate = 0;
  AggregateDescription description;
  IOProcID procedure = 0, spare = 0;
  ListenerID listener = 0;
  std::unique_ptr<PlayingUnit> running, ready;
  std::unique_ptr<OutputUnit> fresh;
  std::unique_ptr<CaptureEngine> capture = machine.platform.newCaptureEngine();
};

template <class T>
OSStatus statusOf(const Result<T>& result) {
  return result ? noErr : result.error();
}

using Call = std::function<OSStatus(Everything&)>;

// Each would succeed, and change something.
const std::vector<std::pair<Operation, Call>>& changes() {
  using O = Operation;
  static const std::vector<std::pair<Operation, Call>> all = {
      {O::setNominalSampleRate, [](auto& e) { return e.hardware.setNominalSampleRate(e.headset, 44100); }},
      {O::setBufferFrameSize, [](auto& e) { return e.hardware.setBufferFrameSize(e.headset, 256); }},
      {O::setVolume, [](auto& e) { return e.hardware.setVolume(e.headset, AudioScope::output, 0.25f); }},
      {O::setDefaultDevice,
       [](auto& e) { return e.hardware.setDefaultDevice(DefaultDevice::output, e.headset); }},
      {O::createProcessTap,
       [](auto& e) {
         return statusOf(e.hardware.createProcessTap({"more", {e.process}}));
       }},
      {O::destroyProcessTap, [](auto& e) { return e.hardware.destroyProcessTap(e.tap); }},
      {O::createAggregateDevice,
       [](auto& e) {
         auto more = e.description;
         more.uid = "more";
         return statusOf(e.hardware.createAggregateDevice(more));
       }},
      {O::destroyAggregateDevice, [](auto& e) { return e.hardware.destroyAggregateDevice(e.aggregate); }},
      {O::createIOProc,
       [](auto& e) { return statusOf(e.hardware.createIOProc(e.headset, &Everything::idle, nullptr)); }},
      {O::destroyIOProc, [](auto& e) { return e.hardware.destroyIOProc(e.aggregate, e.procedure); }},
      {O::startDevice, [](auto& e) { return e.hardware.startDevice(e.aggregate, e.spare); }},
      {O::stopDevice, [](auto& e) { return e.hardware.stopDevice(e.aggregate, e.procedure); }},
      {O::addListener,
       [](auto& e) {
         return statusOf(e.hardware.addListener(e.headset, AudioProperty::isAlive, AudioScope::global,
                                                e.machine.runtime.mainQueue(), [] {}));
       }},
      {O::removeListener, [](auto& e) { return e.hardware.removeListener(e.listener); }},
      {O::unitSetCurrentDevice, [](auto& e) { return e.fresh->setCurrentDevice(e.headset); }},
      {O::unitUninitialize, [](auto& e) { return e.running->unit->uninitialize(); }},
      {O::unitStart, [](auto& e) { return e.ready->unit->start(); }},
      {O::unitStop, [](auto& e) { return e.running->unit->stop(); }},
      {O::captureSetCurrentDevice,
       [](auto& e) { return e.capture->setCurrentDevice(e.machine.device(SimulatedHost::kMicrophoneUID)); }},
      {O::captureStart, [](auto& e) { return e.capture->start(); }},
  };
  return all;
}

TEST(SimulatedRules, ACallThatFailsChangesNothing) {
  for (const auto& [operation, call] : changes()) {
    SCOPED_TRACE(operationName(operation));
    Everything everything;
    const std::string before = everything.look();
    everything.machine.host().faults().failNth(operation, 1, -77);
    EXPECT_EQ(call(everything), -77);
    EXPECT_EQ(everything.look(), before);
    EXPECT_EQ(call(everything), noErr);
    EXPECT_NE(everything.look(), before) << "else the comparison above could not fail";
  }
  Everything everything;
  everything.machine.host().faults().failNth(Operation::newOutputUnit, 1, -77);
  const std::string before = everything.look();
  EXPECT_EQ(statusOf(everything.hardware.newOutputUnit()), -77);
  EXPECT_EQ(everything.look(), before);
}

// Faults on settings that can only be seen by their effect.
TEST(SimulatedRules, AUnitKeepsTheSettingsThatAFailedCallWouldHaveChanged) {
  Everything everything;
  OutputUnit& unit = *everything.fresh;
  FaultPlan& faults = everything.machine.host().faults();
  const AudioDeviceID microphone = everything.machine.device(SimulatedHost::kMicrophoneUID);
  faults.failNth(Operation::unitSetEnableIO, 1, -77);
  EXPECT_EQ(unit.setEnableIO(AudioScope::input, true), -77);
  EXPECT_EQ(unit.setCurrentDevice(microphone), kAudioUnitErrInvalidPropertyValue);
  faults.failNth(Operation::unitInitialize, 1, -77);
  ASSERT_EQ(unit.setCurrentDevice(everything.headset), noErr);
  EXPECT_EQ(unit.initialize(), -77);
  EXPECT_EQ(unit.start(), kAudioUnitErrUninitialized);
  faults.failNth(Operation::captureInstallTap, 1, -77);
  const auto ignore = [](const CapturedBlock&) {};
  EXPECT_EQ(everything.capture->installTap(512, {48000, 1}, ignore), -77);
  EXPECT_EQ(everything.capture->installTap(512, {48000, 1}, ignore), noErr);
}

TEST(SimulatedRules, WhatIsDestroyedOrGoneFailsItsCalls) {
  Everything e;
  CapturingUnit bound(e.hardware, e.aggregate, {48000, 2});
  ASSERT_EQ(bound.unit->start(), noErr);
  ASSERT_EQ(e.hardware.destroyIOProc(e.aggregate, e.spare), noErr);
  EXPECT_EQ(e.hardware.startDevice(e.aggregate, e.spare), kAudioHardwareBadObjectError);
  EXPECT_EQ(e.hardware.destroyIOProc(e.aggregate, e.spare), kAudioHardwareBadObjectError);
  ASSERT_EQ(e.hardware.destroyAggregateDevice(e.aggregate), noErr);
  const std::size_t heard = bound.samples.size();
  e.machine.run(0.1);
  EXPECT_EQ(bound.samples.size(), heard);
  ASSERT_EQ(e.hardware.destroyProcessTap(e.tap), noErr);
  ASSERT_EQ(e.hardware.removeListener(e.listener), noErr);
  e.app.quit();
  e.machine.host().unplug(SimulatedHost::kHeadsetUID);

  EXPECT_EQ(bound.unit->currentDevice(), Denied(kAudioHardwareBadDeviceError));
  EXPECT_EQ(bound.unit->hardwareFormat(AudioScope::input), Denied(kAudioHardwareBadDeviceError));
  EXPECT_EQ(e.capture->start(), kAudioHardwareBadDeviceError);
  for (const auto operation :
       {Operation::setNominalSampleRate, Operation::setBufferFrameSize, Operation::setVolume,
        Operation::setDefaultDevice, Operation::createProcessTap, Operation::destroyProcessTap,
        Operation::createAggregateDevice, Operation::destroyAggregateDevice, Operation::createIOProc,
        Operation::destroyIOProc, Operation::startDevice, Operation::stopDevice, Operation::addListener,
        Operation::removeListener, Operation::unitSetCurrentDevice, Operation::unitStart}) {
    const auto found = std::ranges::find(changes(), operation, [](const auto& each) { return each.first; });
    const OSStatus status = found->second(e);
    EXPECT_TRUE(status == kAudioHardwareBadObjectError || status == kAudioHardwareBadDeviceError)
        << operationName(operation) << " answers " << status;
  }
  EXPECT_EQ(e.hardware.processDevices(e.process), Denied(kAudioHardwareBadObjectError));
  EXPECT_EQ(e.hardware.tapUID(e.tap), Denied(kAudioHardwareBadObjectError));
}

}  // namespace
}  // namespace sonmere
