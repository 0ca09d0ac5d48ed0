#include <gtest/gtest.h>

#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

TEST(SimulatedServer, RestartVoidsEveryIDAndGivesTheProgramsTheirSoundBack) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  AudioHardware& hardware = machine.hardware();
  SimulatedApp app = machine.host().launchApp(program("app"));
  const AudioObjectID process = app.objectID();
  const AudioDeviceID device = machine.device(SimulatedHost::kSpeakersUID);
  TapProbe probe(hardware, {process}, TapMute::muted);
  probe.start();
  PlayingUnit player(hardware, device, SampleSources::silence());
  player.unit->start();
  std::vector<std::string> events;
  const auto listen = [&](AudioObjectID object, AudioProperty property, const std::string& name) {
    return hardware
        .addListener(object, property, AudioScope::global, machine.runtime.mainQueue(),
                     [&events, name] { events.push_back(name); })
        .value();
  };
  listen(kAudioObjectSystemObject, AudioProperty::serviceRestarted, "restarted");
  listen(kAudioObjectSystemObject, AudioProperty::devices, "devices");
  const ListenerID onDevice = listen(device, AudioProperty::nominalSampleRate, "rate");
  app.play(SampleSources::counter());
  const auto ear = machine.host().hear(SimulatedHost::kSpeakersUID);
  machine.run(0.2);
  EXPECT_EQ(firstSound(ear->samples()), -1);

  machine.host().restartService(fromMilliseconds(300));
  EXPECT_EQ(hardware.devices(), std::unexpected(kAudioHardwareNotRunningError));
  EXPECT_EQ(player.unit->start(), kAudioHardwareNotRunningError);
  const std::uint64_t before = ear->frameCount();
  machine.run(0.25);
  EXPECT_EQ(ear->frameCount(), before);
  events.clear();
  machine.run(0.25);
  EXPECT_EQ(events, (std::vector<std::string>{"restarted", "devices"}));
  EXPECT_EQ(hardware.deviceName(device), std::unexpected(kAudioHardwareBadObjectError));
  EXPECT_EQ(hardware.processPID(process), std::unexpected(kAudioHardwareBadObjectError));
  EXPECT_EQ(probe.stop(), kAudioHardwareBadObjectError);
  EXPECT_EQ(hardware.tapUID(probe.tap), std::unexpected(kAudioHardwareBadObjectError));
  EXPECT_EQ(hardware.removeListener(onDevice), kAudioHardwareBadObjectError);
  EXPECT_EQ(player.unit->setCurrentDevice(machine.device(SimulatedHost::kSpeakersUID)), noErr);
  EXPECT_EQ(player.unit->start(), kAudioUnitErrUninitialized) << "a new server knows nothing of old units";
  EXPECT_EQ(machine.host().counts(), (SimulatedHost::Counts{.units = 1, .listeners = 2}));
  EXPECT_EQ(machine.host().defaultUID(DefaultDevice::output), SimulatedHost::kSpeakersUID);
  EXPECT_EQ(counterBreaks(ear->samplesFrom(before), 0), 0u);
  EXPECT_GT(ear->frameCount(), before + 8000);
}

TEST(SimulatedServer, FailsTheCallsThatItIsTold) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  AudioHardware& hardware = machine.hardware();
  SimulatedApp app = machine.host().launchApp(program("app"));
  const auto tap = hardware.createProcessTap({"tap", {app.objectID()}});
  FaultPlan& faults = machine.host().faults();
  faults.failNth(Operation::tapUID, 1, -1);
  faults.failNth(Operation::tapUID, 3, -3);
  EXPECT_EQ(hardware.tapUID(*tap), std::unexpected(-1));
  EXPECT_TRUE(hardware.tapUID(*tap));
  EXPECT_EQ(hardware.tapUID(*tap), std::unexpected(-3));
  EXPECT_TRUE(hardware.tapUID(*tap));
  EXPECT_EQ(faults.calls(Operation::tapUID), 4u);

  faults.failFrom(Operation::createProcessTap, 2, kAudioDevicePermissionsError);
  const TapDescription description{"tap", {app.objectID()}};
  EXPECT_TRUE(hardware.createProcessTap(description));
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(hardware.createProcessTap(description), std::unexpected(kAudioDevicePermissionsError));
  EXPECT_EQ(machine.host().counts().taps, 2u) << "a call that fails does nothing";
  faults.clear();
  EXPECT_TRUE(hardware.createProcessTap(description));
  EXPECT_EQ(machine.host().ledger().back().operation, Operation::createProcessTap);

  const auto unit = hardware.newOutputUnit();
  faults.failNth(Operation::unitStart, 1, -66);
  EXPECT_EQ((*unit)->setCurrentDevice(machine.device(SimulatedHost::kSpeakersUID)), noErr);
  EXPECT_EQ((*unit)->start(), -66);
  EXPECT_EQ((*unit)->start(), kAudioUnitErrUninitialized);
}

TEST(SimulatedServer, ListsProcessesAsTheyComeAndGo) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  AudioHardware& hardware = machine.hardware();
  RunningApplications& applications = machine.platform.applications();
  int changes = 0;
  std::vector<std::string> desktop;
  (void)hardware.addListener(kAudioObjectSystemObject, AudioProperty::processObjectList, AudioScope::global,
                             machine.runtime.mainQueue(), [&] { ++changes; });
  const auto launched =
      applications.observeLaunches([&](const auto& app) { desktop.push_back("+" + app.bundleID); });
  const auto quit =
      applications.observeTerminations([&](const auto& app) { desktop.push_back("-" + app.bundleID); });
  const std::size_t own = hardware.processObjects()->size();
  SimulatedApp browser = machine.host().launchApp(program("browser"));
  auto description = program("browser.helper");
  description.responsiblePID = browser.pid();
  description.hasApplicationObject = description.hasAudioClient = false;
  SimulatedApp helper = machine.host().launchApp(description);
  machine.run(0);
  EXPECT_EQ(hardware.processObjects()->size(), own + 1);
  EXPECT_EQ(changes, 1);
  helper.play(SampleSources::silence());
  EXPECT_EQ(hardware.processForPID(helper.pid()), helper.objectID());
  EXPECT_EQ(hardware.processBundleID(helper.objectID()), "browser.helper");
  EXPECT_EQ(applications.responsiblePID(helper.pid()), browser.pid());
  EXPECT_EQ(applications.applicationWithPID(helper.pid()), std::nullopt);
  machine.host().setResponsibilityKnown(false);
  EXPECT_EQ(applications.responsiblePID(helper.pid()), std::nullopt);
  const AudioObjectID gone = helper.objectID();
  helper.quit();
  browser.quit();
  machine.run(0);
  EXPECT_EQ(changes, 4);
  EXPECT_EQ(hardware.processPID(gone), std::unexpected(kAudioHardwareBadObjectError));
  EXPECT_EQ(desktop, (std::vector<std::string>{"+browser", "-browser"}));
  EXPECT_EQ(applications.launch("browser"), noErr);
  EXPECT_EQ(applications.applicationsWithBundleID("browser").size(), 1u);
  EXPECT_NE(applications.launch("unknown"), noErr);
}

TEST(SimulatedServer, CapturesOnAWorkerAndTellsOfChanges) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  const AudioDeviceID bridge = machine.device("ToneFerry_UID");
  PlayingUnit player(machine.hardware(), bridge, SampleSources::counter());
  player.unit->start();
  auto engine = machine.platform.newCaptureEngine();
  std::vector<float> captured;
  int changes = 0;
  const auto observer = engine->observeConfigurationChange(machine.runtime.mainQueue(), [&] { ++changes; });
  EXPECT_NE(engine->start(), noErr);
  ASSERT_EQ(engine->setCurrentDevice(bridge), noErr);
  ASSERT_EQ(engine->inputFormat(), (AudioStreamFormat{48000, 2}));
  const auto take = [&](const CapturedBlock& block) {
    EXPECT_LE(block.frames, 4096u);
    captured.insert(captured.end(), block.samples, block.samples + 2 * std::size_t(block.frames));
  };
  EXPECT_EQ(engine->installTap(4096, {44100, 2}, take), kAudioDeviceUnsupportedFormatError);
  ASSERT_EQ(engine->installTap(4096, {48000, 2}, take), noErr);
  ASSERT_EQ(engine->start(), noErr);
  machine.run(2);
  EXPECT_GT(captured.size(), 180000u);
  EXPECT_EQ(counterBreaks(captured, 0), 0u);
  ASSERT_TRUE(machine.host().setNominalRate("ToneFerry_UID", 44100));
  EXPECT_FALSE(engine->isRunning());
  machine.run(0.1);
  EXPECT_EQ(changes, 1);
  engine->removeTap();
  ASSERT_EQ(engine->installTap(4096, engine->inputFormat(), take), noErr);
  captured.clear();
  ASSERT_EQ(engine->start(), noErr);
  machine.run(1);
  EXPECT_NEAR(double(captured.size()) / 2, 44100, 5000);
  machine.host().removeDriver();
  machine.run(0.1);
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(engine->inputFormat().channels, 0u);
  EXPECT_EQ(engine->start(), kAudioHardwareBadDeviceError);
}

// A day in the life: everything moves at once.
std::pair<std::uint64_t, std::vector<std::string>> story(std::uint64_t seed) {
  VirtualMachine machine(seed);
  machine.host().plugStandardMachine();
  machine.host().installDriver();
  std::vector<SimulatedApp> apps;
  for (int i = 0; i < 4; ++i) {
    apps.push_back(machine.host().launchApp(program("app" + std::to_string(i))));
    apps.back().play(SampleSources::noise(std::uint64_t(i), 0.2f));
  }
  apps[3].setDevice(SimulatedHost::kHeadsetUID);
  const auto speakers = machine.host().hear(SimulatedHost::kSpeakersUID, DeviceRecorder::Keep::hashOnly);
  const auto headset = machine.host().hear(SimulatedHost::kHeadsetUID, DeviceRecorder::Keep::hashOnly);
  TapProbe muted(machine.hardware(), {apps[0].objectID(), apps[3].objectID()}, TapMute::muted);
  TapProbe heard(machine.hardware(), {apps[1].objectID()}, TapMute::unmuted);
  muted.start();
  machine.run(1);
  heard.start();
  machine.host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  machine.run(1);
  machine.host().unplug(SimulatedHost::kHeadsetUID);
  machine.run(1);
  std::uint64_t hash = speakers->hash() * 31 + headset->hash();
  for (const float sample : muted.samples) hash = hash * 31 + std::bit_cast<std::uint32_t>(sample);
  return {hash, machine.lines};
}

TEST(SimulatedServer, TheSameSeedTellsTheSameStory) {
  const auto first = story(11);
  EXPECT_EQ(first, story(11));
  EXPECT_GT(first.second.size(), 20u);
}

}  // namespace
}  // namespace sonmere
