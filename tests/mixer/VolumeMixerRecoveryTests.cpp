#include <gtest/gtest.h>

#include "support/MixerWorld.h"

namespace sonmere {
namespace {

// The mixer with one app that plays, while devices, server and machine come and go.
class VolumeMixerRecoveryTest : public testing::Test {
 protected:
  void begin(SimulatedOptions options = {}) {
    world = std::make_unique<MixerWorld>(1, std::move(options));
    music = world->launch("music");
    music.play(SampleSources::tone(440, 0.25f));
    speakers = world->host().hear(SimulatedHost::kSpeakersUID);
    headset = world->host().hear(SimulatedHost::kHeadsetUID);
    world->startMixer();
    mixer().setVolume("music", 0.5f);
    world->wait(1);
  }
  VolumeMixerEngine& mixer() { return *world->mixer; }
  // The loudest sample of the next moment.
  float heard(DeviceRecorder& recorder) {
    recorder.takePeak();
    world->wait(0.3);
    return recorder.takePeak();
  }
  void expectMixedOn(DeviceRecorder& recorder) { EXPECT_NEAR(heard(recorder), 0.125f, 0.002f); }
  void expectDirectOn(DeviceRecorder& recorder) { EXPECT_NEAR(heard(recorder), 0.25f, 0.002f); }

  std::ptrdiff_t restarts() const {
    return std::ranges::count_if(world->lines, [](const std::string& line) {
      return line.starts_with("Volume Mixer output has not rendered for ");
    });
  }

  std::unique_ptr<MixerWorld> world;
  SimulatedApp music;
  std::shared_ptr<DeviceRecorder> speakers, headset;
};

TEST_F(VolumeMixerRecoveryTest, TheOutputFollowsTheDefaultDevice) {
  for (const bool settles : {false, true}) {
    begin({.needsSettling = settles});
    expectMixedOn(*speakers);
    const auto tap = world->tap("music");
    world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
    world->wait(0.5);
    expectMixedOn(*headset);
    EXPECT_EQ(heard(*speakers), 0.0f);
    EXPECT_EQ(world->tap("music"), tap) << "only the output is made anew";
    EXPECT_LT(tap->ring.reader().lastBacklog, 9600) << "what gathered meanwhile is skipped";
    world->host().unplug(SimulatedHost::kHeadsetUID);
    world->wait(0.5);
    expectMixedOn(*speakers);
    EXPECT_EQ(world->host().counts().units, 1u);
  }
}

TEST_F(VolumeMixerRecoveryTest, AChangedRateReachesOutputAndTaps) {
  begin();
  ASSERT_TRUE(world->host().setNominalRate(SimulatedHost::kSpeakersUID, 44100));
  world->wait(1);
  EXPECT_EQ(mixer().outputSampleRate(), 44100);
  const AudioDeviceID aggregate = world->tap("music")->objects.aggDeviceID;
  EXPECT_EQ(world->platform.hardware().nominalSampleRate(aggregate), 44100.0);
  expectMixedOn(*speakers);
  const auto overflows = world->tap("music")->ring.writer.overflows.load();
  world->wait(5);
  EXPECT_EQ(world->tap("music")->ring.writer.overflows, overflows);
  EXPECT_LT(world->tap("music")->ring.reader().lastBacklog, 9600);

  // Another output's rate, and a tap made at a rate other than the output's.
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->wait(1);
  EXPECT_EQ(world->platform.hardware().nominalSampleRate(aggregate), 48000.0);
  auto game = world->launch("game");
  game.setDevice(SimulatedHost::kSpeakersUID);
  game.play(SampleSources::tone(440, 0.1f));
  world->settle();
  EXPECT_EQ(world->platform.hardware().nominalSampleRate(world->tap("game")->objects.aggDeviceID),
            world->host().nominalRate(SimulatedHost::kHeadsetUID));
}

TEST_F(VolumeMixerRecoveryTest, WithoutAnyDefaultDeviceTheAppIsFreeAndTheMixerWaits) {
  begin();
  world->host().unplug(SimulatedHost::kHeadsetUID);
  world->host().removeDriver();
  world->host().unplug(SimulatedHost::kSpeakersUID);
  world->wait(60);
  EXPECT_EQ(world->mixerError(), "No system default output device.");
  EXPECT_TRUE(mixer().activeTaps().empty());
  EXPECT_TRUE(*mixer().isEnabled);
  world->host().replug(SimulatedHost::kSpeakersUID);
  world->wait(6);
  EXPECT_EQ(world->mixerError(), "");
  expectMixedOn(*speakers);
}

// At log-in, or with the dock unplugged.
TEST_F(VolumeMixerRecoveryTest, AMixerThatWasOnWaitsForAnOutputAtLaunch) {
  begin();
  world->mixer.reset();
  world->host().unplug(SimulatedHost::kHeadsetUID);
  world->host().removeDriver();
  world->host().unplug(SimulatedHost::kSpeakersUID);
  world->makeMixer();
  EXPECT_TRUE(*mixer().isEnabled);
  EXPECT_EQ(world->mixerError(), "No system default output device.");
  world->wait(600);
  EXPECT_EQ(world->settings.optionalBool("sonmere.volumeMixer.isEnabled"), true);
  world->host().replug(SimulatedHost::kSpeakersUID);
  world->wait(6);
  EXPECT_EQ(world->mixerError(), "");
  expectMixedOn(*speakers);

  // One that can't be built, and is given up by the user.
  world->host().faults().failFrom(Operation::unitStart, 1, -50);
  world->host().restartService(fromMilliseconds(100));
  world->wait(3);
  EXPECT_EQ(world->mixerError(), "Failed to start audio output (-50).");
  mixer().setEnabled(false);
  EXPECT_EQ(world->mixerError(), "") << "nothing is wrong with what is off";
  EXPECT_FALSE(mixer().setEnabled(true));
  EXPECT_NE(world->mixerError(), "");
  mixer().setEnabled(false);
  EXPECT_EQ(world->mixerError(), "");
}

TEST_F(VolumeMixerRecoveryTest, DevicesThatComeAndGoUseUpNoAttempts) {
  begin();
  world->host().faults().failFrom(Operation::unitStart, 1, -50);
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->wait(0.5);
  EXPECT_EQ(world->mixerError(), "Failed to start audio output (-50).");
  for (int i = 0; i < 10; ++i) {
    SimulatedDeviceDescription device;
    device.uid = device.name = "device " + std::to_string(i);
    world->host().plug(device);
    world->wait(0.2);
  }
  EXPECT_TRUE(*mixer().isEnabled);
  world->host().faults().clear();
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kSpeakersUID);
  world->wait(0.5);
  expectMixedOn(*speakers);
}

// Neither build nor app is given up at the first failure; at the last the mixer goes off and says why.
TEST_F(VolumeMixerRecoveryTest, ARebuildThatFailsFreesTheAppsAndIsTriedAgain) {
  begin();
  world->host().faults().failNth(Operation::unitStart, 1, -50);
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->wait(0.1);
  EXPECT_EQ(world->mixerError(), "Failed to start audio output (-50).");
  expectDirectOn(*headset);
  world->wait(1);
  expectMixedOn(*headset);
  EXPECT_EQ(world->mixerError(), "");

  world->host().faults().failFrom(Operation::unitStart, 1, -50);
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kSpeakersUID);
  world->wait(20);
  EXPECT_TRUE(*mixer().isEnabled);
  world->wait(20);
  EXPECT_FALSE(*mixer().isEnabled);
  EXPECT_EQ(world->settings.optionalBool("sonmere.volumeMixer.isEnabled"), false);
  EXPECT_EQ(world->mixerError(), "Failed to start audio output (-50).");
  expectDirectOn(*speakers);
  world->host().faults().clear();
  EXPECT_TRUE(mixer().setEnabled(true));
  expectMixedOn(*speakers);
}

TEST_F(VolumeMixerRecoveryTest, SleepAndWakeWhilePlaying) {
  begin();
  world->host().sleep();
  world->wait(30);
  EXPECT_EQ(world->host().counts().units, 1u) << "nothing is rebuilt in a sleeping machine";
  EXPECT_EQ(restarts(), 0) << "nor missed";
  world->host().wake();
  world->wait(2);
  expectMixedOn(*speakers);
  EXPECT_LT(world->tap("music")->ring.reader().lastBacklog, 9600);

  // The default changes while asleep.
  world->host().sleep();
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->wait(5);
  world->host().wake();
  world->wait(2);
  expectMixedOn(*headset);

  // Off before the wake's rebuild is due: nothing comes back.
  world->host().sleep();
  world->host().wake();
  world->wait(0.1);
  mixer().setEnabled(false);
  world->wait(3);
  EXPECT_EQ(world->host().counts().units, 0u);
}

TEST_F(VolumeMixerRecoveryTest, ARestartOfTheServerGivesEveryAppItsTapAgain) {
  begin();
  const auto before = world->tap("music");
  world->host().restartService(fromMilliseconds(300));
  world->wait(6);
  EXPECT_NE(world->tap("music"), before);
  ASSERT_TRUE(world->tap("music"));
  expectMixedOn(*speakers);
  EXPECT_EQ(world->host().counts().taps, 1u);
  EXPECT_EQ(world->host().counts().units, 1u);
}

// A unit that stops rendering without any word is made anew, at growing distances while that does not help.
TEST_F(VolumeMixerRecoveryTest, AnOutputThatStopsRenderingIsRestarted) {
  begin({.reportsPowerEvents = false});
  world->wait(30);
  EXPECT_EQ(restarts(), 0);
  world->host().sleep();  // told to nobody: the devices just stop
  world->wait(5);
  EXPECT_GE(restarts(), 1);
  world->wait(120);
  const auto stuck = restarts();
  EXPECT_LE(stuck, 8);
  world->host().wake();
  world->wait(70);
  EXPECT_LE(restarts(), stuck + 1);
  expectMixedOn(*speakers);
}

TEST_F(VolumeMixerRecoveryTest, AListenerThatFailedIsMadeUpFor) {
  begin();
  mixer().setEnabled(false);
  world->host().faults().failFrom(Operation::addListener, 1, -50);
  EXPECT_TRUE(mixer().setEnabled(true));
  world->host().setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  world->host().faults().clear();
  world->wait(2);
  expectMixedOn(*headset);
}

TEST_F(VolumeMixerRecoveryTest, NothingIsLeftAtTheEnd) {
  begin();
  const std::weak_ptr<VolumeMixerTap> tap = world->tap("music");
  world->mixer.reset();
  EXPECT_EQ(world->host().counts().taps + world->host().counts().units, 0u);
  expectDirectOn(*speakers);
  world->wait(2);
  EXPECT_TRUE(tap.expired());
  EXPECT_EQ(world->settings.optionalBool("sonmere.volumeMixer.isEnabled"), true) << "on again next time";
}

}  // namespace
}  // namespace sonmere
