#include <gtest/gtest.h>

#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

TEST(SimulatedDevice, CountsFramesByItsOwnClock) {
  VirtualMachine machine;
  machine.host().plug(speakers("exact", 0));
  machine.host().plug(speakers("fast", 100));
  SimulatedDeviceDescription odd = speakers("slow", -37.5, 44100);
  odd.bufferFrames = 471;
  machine.host().plug(odd);
  using Keep = DeviceRecorder::Keep;
  const auto exact = machine.host().hear("exact", Keep::hashOnly);
  const auto fast = machine.host().hear("fast", Keep::hashOnly);
  const auto slow = machine.host().hear("slow", Keep::hashOnly);
  machine.run(3600);
  // Whole blocks of what the clock has counted in an hour.
  EXPECT_EQ(exact->frameCount(), 172800000u / 512 * 512);
  EXPECT_EQ(fast->frameCount(), std::uint64_t(172800000 * (1 + 100e-6)) / 512 * 512);
  EXPECT_EQ(slow->frameCount(), std::uint64_t(158760000 * (1 - 37.5e-6)) / 471 * 471);
}

TEST(SimulatedDevice, VirtualDeviceGivesBackWhatIsPlayedOnIt) {
  VirtualMachine machine;
  machine.host().installDriver();
  ASSERT_TRUE(machine.host().isDriverInstalled());
  EXPECT_EQ(machine.hardware().deviceName(machine.device("ToneFerry_UID_Track_8")), "Sonmere Track 8");
  const AudioDeviceID bridge = machine.device("ToneFerry_UID");
  PlayingUnit player(machine.hardware(), bridge, SampleSources::counter());
  CapturingUnit capture(machine.hardware(), bridge, {48000, 2});
  const auto reader = machine.host().readInput("ToneFerry_UID");
  ASSERT_EQ(player.unit->start(), noErr);
  ASSERT_EQ(capture.unit->start(), noErr);
  machine.run(1);
  EXPECT_GT(capture.samples.size(), 90000u);
  EXPECT_EQ(counterBreaks(capture.samples, 0), 0u);
  EXPECT_EQ(capture.samples, reader->samples());
  EXPECT_EQ(std::set(player.blockFrames.begin(), player.blockFrames.end()), std::set{512u});
  machine.host().removeDriver();
  EXPECT_EQ(machine.hardware().deviceForUID("ToneFerry_UID"), kAudioObjectUnknown);
}

TEST(SimulatedDevice, UnpluggedDeviceFailsItsCallsAndComesBackUnderANewID) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  const AudioDeviceID headset = machine.device(SimulatedHost::kHeadsetUID);
  PlayingUnit player(machine.hardware(), headset, SampleSources::counter());
  player.unit->start();
  int alive = 0, list = 0;
  (void)machine.hardware().addListener(headset, AudioProperty::isAlive, AudioScope::global,
                                       machine.runtime.mainQueue(), [&] { ++alive; });
  (void)machine.hardware().addListener(kAudioObjectSystemObject, AudioProperty::devices, AudioScope::global,
                                       machine.runtime.mainQueue(), [&] { ++list; });
  machine.run(0.1);
  machine.host().unplug(SimulatedHost::kHeadsetUID);
  const std::size_t calls = player.blockFrames.size();
  machine.run(0.1);
  EXPECT_EQ(player.blockFrames.size(), calls);
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(list, 1);
  EXPECT_EQ(machine.hardware().deviceUID(headset), std::unexpected(kAudioHardwareBadObjectError));
  EXPECT_EQ(machine.hardware().setNominalSampleRate(headset, 44100), kAudioHardwareBadObjectError);
  EXPECT_EQ(player.unit->currentDevice(), std::unexpected(kAudioHardwareBadDeviceError));
  EXPECT_EQ(player.unit->stop(), noErr);
  EXPECT_EQ(player.unit->start(), kAudioHardwareBadDeviceError);
  machine.host().replug(SimulatedHost::kHeadsetUID);
  EXPECT_NE(machine.device(SimulatedHost::kHeadsetUID), headset);
}

TEST(SimulatedDevice, ProgramsFollowTheDefault) {
  VirtualMachine machine;
  machine.host().plugStandardMachine();
  int changes = 0;
  (void)machine.hardware().addListener(kAudioObjectSystemObject, AudioProperty::defaultOutput,
                                       AudioScope::global, machine.runtime.mainQueue(), [&] { ++changes; });
  SimulatedApp app = machine.host().launchApp(program("app"));
  SimulatedApp fixed = machine.host().launchApp(program("fixed"));
  fixed.setDevice(SimulatedHost::kSpeakersUID);
  const auto speakers = machine.host().hear(SimulatedHost::kSpeakersUID);
  const auto headset = machine.host().hear(SimulatedHost::kHeadsetUID);
  app.play(SampleSources::counter());
  machine.run(0.1);
  ASSERT_TRUE(machine.host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID));
  machine.run(0.1);
  const auto before = speakers->samples();
  const auto after = headset->samples();
  const std::ptrdiff_t moved = firstSound(after);
  ASSERT_GE(moved, 0);
  EXPECT_EQ(counterBreaks(after, std::size_t(moved)), 0u);
  // The first frame on the headset follows the last one on the speakers.
  EXPECT_EQ(after[2 * std::size_t(moved)] - *std::ranges::max_element(before), 0x1p-24f);
  EXPECT_EQ(machine.hardware().processDevices(fixed.objectID()), std::vector<AudioDeviceID>{})
      << "one that doesn't play is on no device";
  fixed.play(SampleSources::silence());
  EXPECT_EQ(machine.hardware().processDevices(fixed.objectID()),
            std::vector{machine.device(SimulatedHost::kSpeakersUID)});
  // The default that goes is replaced by the first device that can take its place.
  machine.host().unplug(SimulatedHost::kHeadsetUID);
  EXPECT_EQ(machine.host().defaultUID(DefaultDevice::output), SimulatedHost::kSpeakersUID);
  machine.run(0.01);
  EXPECT_EQ(changes, 2);
}

TEST(SimulatedDevice, UnitsConvertRateAndChannels) {
  VirtualMachine machine;
  machine.host().plug(speakers("A", 0, 44100));
  machine.host().plug([] {
    auto wide = speakers("wide");
    wide.outputChannels = 6;
    return wide;
  }());
  PlayingUnit converted(machine.hardware(), machine.device("A"), SampleSources::tone(997, 0.5f), {48000, 2});
  PlayingUnit mapped(machine.hardware(), machine.device("wide"), SampleSources::counter(), {48000, 2},
                     {-1, -1, 1, 0, -1, -1});
  const auto ear = machine.host().hear("A");
  const auto wideEar = machine.host().hear("wide");
  converted.unit->start();
  mapped.unit->start();
  machine.run(2);
  const auto heard = channelOf(ear->samples(), 0, 2);
  EXPECT_LT(residueDb(heard, 2000, 997, 44100), -85);
  const auto wide = wideEar->samples();
  EXPECT_EQ(channelOf(wide, 3, 6)[0], 0x1p-24f);
  EXPECT_EQ(channelOf(wide, 2, 6)[1000], -1001 * 0x1p-24f);
  for (const std::size_t silent : {0u, 1u, 4u, 5u})
    EXPECT_EQ(std::ranges::count(channelOf(wide, silent, 6), 0.0f), std::ptrdiff_t(wide.size() / 6));
}

TEST(SimulatedDevice, CapturedRateIsConverted) {
  VirtualMachine machine;
  SimulatedDeviceDescription microphone = speakers("mic");
  microphone.outputChannels = 0;
  microphone.inputChannels = 1;
  microphone.inputSignal = [] { return SampleSources::tone(700, 0.25f); };
  machine.host().plug(microphone);
  CapturingUnit native(machine.hardware(), machine.device("mic"), {48000, 1});
  CapturingUnit slow(machine.hardware(), machine.device("mic"), {16000, 1});
  CapturingUnit fast(machine.hardware(), machine.device("mic"), {96000, 1});
  for (CapturingUnit* each : {&native, &slow, &fast}) ASSERT_EQ(each->unit->start(), noErr);
  machine.run(2);
  EXPECT_LT(residueDb(native.samples, 0, 700, 48000), -130);
  EXPECT_NEAR(double(slow.samples.size()), 32000, 600);
  EXPECT_LT(residueDb(slow.samples, 500, 700, 16000), -85);
  EXPECT_NEAR(double(fast.samples.size()), 192000, 1200);
  EXPECT_LT(residueDb(fast.samples, 500, 700, 96000), -85);
}

TEST(SimulatedDevice, RateAndBlockSizeChangeWhileRunning) {
  VirtualMachine machine;
  auto slow = speakers("A");
  slow.rateChangeDelay = fromMilliseconds(500);
  machine.host().plug(slow);
  const AudioDeviceID device = machine.device("A");
  int changes = 0;
  (void)machine.hardware().addListener(device, AudioProperty::nominalSampleRate, AudioScope::global,
                                       machine.runtime.mainQueue(), [&] { ++changes; });
  const auto ear = machine.host().hear("A");
  machine.run(1);
  EXPECT_EQ(machine.hardware().setNominalSampleRate(device, 22050), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(machine.hardware().setNominalSampleRate(device, 96000), noErr);
  machine.run(0.4);
  EXPECT_EQ(machine.hardware().nominalSampleRate(device), 48000);
  machine.run(0.1);
  EXPECT_EQ(machine.hardware().nominalSampleRate(device), 96000);
  EXPECT_EQ(changes, 1);
  const std::uint64_t before = ear->frameCount();
  EXPECT_EQ(machine.hardware().setBufferFrameSize(device, 4801), noErr);
  machine.run(1);
  EXPECT_NEAR(double(ear->frameCount() - before), 96000, 4801);
  EXPECT_EQ((ear->frameCount() - before) % 4801, 0u);
}

TEST(SimulatedDevice, NothingCyclesDuringSleep) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  std::vector<std::string> events;
  const auto sleeping = machine.platform.powerEvents().observeWillSleep([&] { events.push_back("sleep"); });
  const auto waking = machine.platform.powerEvents().observeDidWake([&] { events.push_back("wake"); });
  SimulatedApp app = machine.host().launchApp(program("app"));
  const auto ear = machine.host().hear("A");
  app.play(SampleSources::counter());
  machine.run(1);
  const std::uint64_t before = ear->frameCount();
  machine.host().sleep();
  machine.run(100);
  EXPECT_EQ(ear->frameCount(), before);
  machine.host().wake();
  machine.run(1);
  EXPECT_NEAR(double(ear->frameCount() - before), 48000, 512);
  EXPECT_EQ(counterBreaks(ear->samples(), 0), 0u);
  EXPECT_EQ(events, (std::vector<std::string>{"sleep", "wake"}));
}

}  // namespace
}  // namespace sonmere
