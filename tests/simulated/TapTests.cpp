#include "Signals.h"
#include "VirtualMachine.h"

namespace sonmere {
namespace {

TEST(SimulatedTap, MutedTapSilencesOnlyItsProcessAndStillHearsIt) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp tapped = machine.host().launchApp(program("tapped"));
  SimulatedApp other = machine.host().launchApp(program("other"));
  TapProbe probe(machine.hardware(), {tapped.objectID()}, TapMute::muted);
  ASSERT_EQ(probe.start(), noErr);
  const auto ear = machine.host().hear("A");
  tapped.play(SampleSources::noise(7, 0.5f));
  other.play(SampleSources::counter());
  machine.run(1);

  EXPECT_TRUE(tapped.isSilenced());
  EXPECT_FALSE(other.isSilenced());
  // The other program alone reaches the device, whole and unchanged.
  EXPECT_EQ(counterBreaks(ear->samples(), 0), 0u);
  auto reference = SampleSources::noise(7, 0.5f);
  std::vector<float> expected(probe.samples.size());
  reference->render(expected.data(), std::uint32_t(expected.size() / 2));
  EXPECT_GT(expected.size(), 90000u);
  EXPECT_EQ(probe.samples, expected);

  // The program is back at the first block after its tap has gone.
  const std::uint64_t before = ear->frameCount();
  machine.hardware().destroyProcessTap(probe.tap);
  machine.run(0.1);
  EXPECT_GT(counterBreaks(ear->samplesFrom(before), 0), 4000u);
}

// An app that is expected stands still until a tap has it, or for so long; whoever plays already goes on.
TEST(SimulatedTap, WhatIsExpectedIsHeardByItsTapFromTheFirstFrame) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp early = machine.host().launchApp(program("early"));
  SimulatedApp held = machine.host().launchApp(program("held"));
  SimulatedApp waiting = machine.host().launchApp(program("waiting"));
  early.play(SampleSources::counter());
  machine.run(0.1);
  machine.hardware().expectCapture("first", {{"early", "held"}});
  machine.hardware().expectCapture("second", {{"early", "held"}, true});
  const auto ear = machine.host().hear("A");
  held.play(SampleSources::noise(7, 0.5f));
  machine.run(0.5);
  EXPECT_EQ(counterBreaks(ear->samples(), 0), 0u) << "who played already plays on, alone";
  EXPECT_TRUE(held.isPlaying());

  TapProbe probe(machine.hardware(), {held.objectID()}, TapMute::muted);
  ASSERT_EQ(probe.start(), noErr);
  machine.run(0.5);
  auto reference = SampleSources::noise(7, 0.5f);
  std::vector<float> expected(probe.samples.size());
  reference->render(expected.data(), std::uint32_t(expected.size() / 2));
  EXPECT_GT(expected.size(), 40000u);
  EXPECT_EQ(probe.samples, expected);
  EXPECT_EQ(counterBreaks(ear->samples(), 0), 0u);

  early.stop();
  machine.run(0.1);
  const std::uint64_t start = ear->frameCount();
  waiting.play(SampleSources::counter());
  machine.run(toSeconds(kLongestCaptureWait) - 0.1);
  EXPECT_EQ(ear->samplesFrom(start), std::vector<float>(ear->samplesFrom(start).size(), 0.0f));
  machine.run(0.2);
  EXPECT_NE(ear->samples().back(), 0.0f) << "nobody has captured it";
  // What is taken back ends the wait at once.
  waiting.stop();
  waiting.play(SampleSources::counter());
  machine.hardware().expectCapture("second", {});
  machine.run(0.1);
  EXPECT_NE(ear->samples().back(), 0.0f);
}

TEST(SimulatedTap, SumsAFamilyAndLeavesTheSoundWhenUnmuted) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp first = machine.host().launchApp(program("family"));
  SimulatedApp second = machine.host().launchApp(program("family.helper"));
  TapProbe probe(machine.hardware(), {first.objectID(), second.objectID()}, TapMute::unmuted);
  probe.start();
  const auto ear = machine.host().hear("A");
  first.play(SampleSources::tone(100, 0.25f));
  second.play(SampleSources::noise(3, 0.25f));
  machine.run(0.5);
  ASSERT_FALSE(probe.samples.empty());
  EXPECT_EQ(probe.samples, ear->samples());
}

TEST(SimulatedTap, GoesOnWithSilenceWhileItsProcessPauses) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp app = machine.host().launchApp(program("app"));
  TapProbe probe(machine.hardware(), {app.objectID()}, TapMute::muted);
  probe.start();
  app.play(SampleSources::counter());
  machine.run(0.2);
  app.pause();
  const std::size_t atPause = probe.samples.size();
  machine.run(0.2);
  ASSERT_GT(probe.samples.size(), atPause + 18000);
  EXPECT_EQ(std::vector(probe.samples.begin() + std::ptrdiff_t(atPause), probe.samples.end()),
            std::vector<float>(probe.samples.size() - atPause, 0.0f));
  app.resume();
  const std::size_t atResume = probe.samples.size();
  machine.run(0.2);
  // Nothing was lost: the frame after the pause follows the one before it.
  EXPECT_EQ(probe.samples[atResume] - probe.samples[atPause - 2], 0x1p-24f);
}

TEST(SimulatedTap, BlocksOfAnotherSizeCarryTheSameSamples) {
  for (const std::uint32_t frames : {128u, 333u, 512u, 1000u, 5000u}) {
    VirtualMachine machine;
    machine.host().plug(speakers("A"));
    SimulatedApp app = machine.host().launchApp(program("app"));
    TapProbe probe(machine.hardware(), {app.objectID()}, TapMute::muted);
    ASSERT_EQ(machine.hardware().setBufferFrameSize(probe.aggregate, frames), noErr);
    probe.start();
    app.play(SampleSources::counter());
    machine.run(1);
    ASSERT_GT(probe.samples.size(), 80000u);
    EXPECT_EQ(counterBreaks(probe.samples, 0), 0u) << frames;
    EXPECT_EQ(std::set(probe.blockFrames.begin(), probe.blockFrames.end()), std::set{frames});
  }
}

TEST(SimulatedTap, FollowsItsProcessesToAnotherClock) {
  VirtualMachine machine;
  machine.host().plug(speakers("A", 0, 48000));
  machine.host().plug(speakers("B", 50, 44100));
  SimulatedApp app = machine.host().launchApp(program("app"));
  TapProbe probe(machine.hardware(), {app.objectID()}, TapMute::muted);
  probe.start();
  app.play(SampleSources::tone(1000, 0.5f));
  EXPECT_EQ(machine.hardware().nominalSampleRate(probe.aggregate), 48000);
  machine.run(0.5);
  ASSERT_TRUE(machine.host().setDefault(DefaultDevice::output, "B"));
  EXPECT_EQ(machine.hardware().nominalSampleRate(probe.aggregate), 44100);
  probe.samples.clear();
  machine.run(1);
  EXPECT_NEAR(double(probe.samples.size()) / 2, 44100, 513);
  EXPECT_LT(residueDb(channelOf(probe.samples, 0, 2), 1000, 1000, 44100), -80);
}

TEST(SimulatedTap, FramesFromASecondDeviceCrossWithoutSlips) {
  VirtualMachine machine;
  machine.host().plug(speakers("A", 0));
  SimulatedDeviceDescription fast = speakers("B", 120);
  fast.bufferFrames = 441;
  machine.host().plug(fast);
  SimulatedApp here = machine.host().launchApp(program("here"));
  SimulatedApp there = machine.host().launchApp(program("there"));
  there.setDevice("B");
  TapProbe probe(machine.hardware(), {here.objectID(), there.objectID()}, TapMute::muted);
  probe.start();
  here.play(SampleSources::silence());
  there.play(SampleSources::tone(1000, 0.5f));
  machine.run(20);
  probe.samples.clear();
  machine.run(20);
  // Heard by A's clock, B's tone is 120 ppm sharp.
  EXPECT_LT(residueDb(channelOf(probe.samples, 0, 2), 0, 1000 * (1 + 120e-6), 48000), -60);
}

TEST(SimulatedTap, ExclusiveTapTakesAllButTheListedAndThisProgramsOwnSound) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp listed = machine.host().launchApp(program("listed"));
  SimulatedApp other = machine.host().launchApp(program("other"));
  const AudioObjectID own =
      machine.hardware().processForPID(machine.platform.applications().ownPID()).value();
  listed.play(SampleSources::noise(1, 0.5f));
  other.play(SampleSources::silence());
  PlayingUnit unit(machine.hardware(), machine.device("A"), SampleSources::counter());
  unit.unit->start();
  const auto ear = machine.host().hear("A");
  {
    TapProbe withOwn(machine.hardware(), {listed.objectID()}, TapMute::unmuted, true);
    TapProbe withoutOwn(machine.hardware(), {listed.objectID(), own}, TapMute::unmuted, true);
    withOwn.start();
    withoutOwn.start();
    machine.run(0.5);
    const std::ptrdiff_t first = firstSound(withOwn.samples);
    ASSERT_GE(first, 0);
    EXPECT_EQ(counterBreaks(withOwn.samples, std::size_t(first)), 0u);
    EXPECT_EQ(firstSound(withoutOwn.samples), -1);
  }
  listed.stop();
  TapProbe muting(machine.hardware(), {listed.objectID()}, TapMute::muted, true);
  const std::uint64_t before = ear->frameCount();
  machine.run(0.2);
  EXPECT_EQ(firstSound(ear->samplesFrom(before)), -1) << "a muted tap of everything mutes this program too";
}

TEST(SimulatedTap, AProgramWhoseSourceEndsStopsPlayingByItself) {
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp app = machine.host().launchApp(program("app"));
  int changes = 0;
  const auto listener =
      machine.hardware().addListener(app.objectID(), AudioProperty::isRunningOutput, AudioScope::global,
                                     machine.runtime.mainQueue(), [&] { ++changes; });
  ASSERT_TRUE(listener);
  const auto ear = machine.host().hear("A");
  app.play(SampleSources::samples(std::vector<float>(2 * 1000, 0.5f)));
  EXPECT_EQ(machine.hardware().processIsRunningOutput(app.objectID()), true);
  machine.run(0.1);
  EXPECT_EQ(machine.hardware().processIsRunningOutput(app.objectID()), false);
  EXPECT_EQ(changes, 2);
  const auto heard = ear->samples();
  EXPECT_EQ(std::ranges::count(heard, 0.5f), 2000);
}

}  // namespace
}  // namespace sonmere
