// The layouts of a recording of the bridge: which files there are, what is in each, what happens to a session
// whose parts can't all be had.
#include <gtest/gtest.h>

#include "LayoutWorld.h"
#include "recording/DualMonoEngine.h"
#include "recording/RecordedSource.h"
#include "recording/RecordingSources.h"
#include "simulated/Signals.h"

namespace sonmere {
namespace {

std::vector<float> middleOf(const std::vector<float>& signal) {
  return {signal.begin() + 24000, signal.end() - 24000};
}

TEST(Layouts, SeparateTracksAreOneSessionWithEachSourceInAFileOfItsOwn) {
  LayoutWorld world;
  world.startMic([] { return SampleSources::tone(220, 0.1f); });
  world.mic->extras().add(" Git/ar: Part 2 ", 1);
  const std::string second = world.mic->extras().add("", 3);
  const auto app = world.play("org.music", SampleSources::tone(1000, 0.3f));
  world.recordings->startRecording(kBridgeBus);
  ASSERT_EQ(*world.recordings->errorMessage, "");
  EXPECT_EQ(world.recordings->busRecordingStatuses->size(), 5u);
  world.recordings->startRecording(kMicSource);
  EXPECT_EQ(world.recordings->busRecordingStatuses->size(), 5u) << "the microphone is in the session";
  world.wait(2);
  MicExtraSource muted = world.mic->extras().extraSources->back();
  muted.isMuted = true;
  world.mic->extras().change(muted);
  world.wait(1);
  auto files = world.stop();

  ASSERT_EQ(files.size(), 5u);
  for (const char* name :
       {"Master", "Mic", "Apps", "Mic \u2014 Git-ar- Part 2 (Input 1)", "Mic \u2014 Input 2"}) {
    ASSERT_TRUE(files.contains(name)) << name;
    EXPECT_EQ(files[name].stamp, files["Master"].stamp);
    EXPECT_EQ(files[name].rate, 48000);
    EXPECT_NEAR(files[name].seconds(), 3, 0.1) << name;
  }
  EXPECT_EQ(files["Mic"].channels, 1u);
  EXPECT_EQ(files["Apps"].channels, 2u);
  EXPECT_LT(residueDb(middleOf(files["Apps"].left()), 0, 1000, 48000), -80) << "the app, and no microphone";
  // The additional inputs are in what others hear of the microphone, each alone in its own file.
  EXPECT_LT(residueDb(middleOf(files["Mic"].left()), 0, 220, 48000), -10);
  EXPECT_LT(residueDb(middleOf(files["Mic \u2014 Git-ar- Part 2 (Input 1)"].left()), 0, 220, 48000), -80);
  const auto ended = files["Mic \u2014 Input 2"].left();
  EXPECT_GT(*std::max_element(ended.begin(), ended.begin() + 48000), 0.09f);
  EXPECT_EQ(*std::max_element(ended.end() - 24000, ended.end()), 0) << "muted, and as long as the others";
  EXPECT_EQ(world.host().counts().captures, 0u);
  EXPECT_EQ(world.host().counts().taps, 0u);
}

TEST(Layouts, ASessionGoesOnWithoutWhatIsNotThereAndIsRefusedWithoutItsMic) {
  LayoutWorld world;
  // Neither microphone nor apps.
  int errors = 0;
  world.log.addSink([&](LogLevel level, const std::string&) { errors += level == LogLevel::error; });
  world.recordings->startRecording(kBridgeBus);
  world.wait(1);
  EXPECT_EQ(errors, 0) << "which is no fault";
  EXPECT_TRUE(
      world.logged("Sonmere: AppsTapRecorder skipped: No audible processes found to record. Start "
                   "playing audio in an app, then try again."));
  EXPECT_EQ(world.stop().size(), 1u);

  world.recordings->startRecording(kMicSource);
  EXPECT_EQ(*world.recordings->errorMessage, "Turn on Mic Passthrough first to record your mic.");
  world.startMic([] { return SampleSources::tone(220, 0.1f); });
  world.recordings->startRecording(kMicSource);
  EXPECT_EQ(world.recordings->busRecordingStatuses->size(), 1u);
  const std::size_t before = world.filesInFolder();
  world.recordings->startRecording(kBridgeBus);
  EXPECT_EQ(*world.recordings->errorMessage,
            "Mic is already being recorded via Per-App Routing. Stop that first.");
  world.wait(1);
  EXPECT_EQ(world.filesInFolder(), before);
  EXPECT_EQ(world.host().counts().captures, 0u);
  EXPECT_TRUE(world.recordings->isRecording(kMicSource));

  // What the microphone stops for ends its own recording alone.
  std::optional<std::string> path;
  world.recordings->stopRecording(kMicSource, [&](auto stopped) { path = stopped; });
  world.wait(1);
  ASSERT_TRUE(path);
  EXPECT_EQ(readFile(*path).name, "Sonmere Mic");
  EXPECT_TRUE(world.logged("Sonmere: stopped mic side-recording → " +
                           std::filesystem::path(*path).filename().string()));
}

// Whatever fails while a session begins or ends, it is there or it is not: nothing half-made, nothing left.
TEST(Layouts, EveryFailureOfAPartLeavesAWholeSessionOrNone) {
  const Operation operations[] = {Operation::captureSetCurrentDevice,
                                  Operation::captureInstallTap,
                                  Operation::captureStart,
                                  Operation::processObjects,
                                  Operation::createProcessTap,
                                  Operation::tapUID,
                                  Operation::createAggregateDevice,
                                  Operation::createIOProc,
                                  Operation::startDevice,
                                  Operation::nominalSampleRate,
                                  Operation::deviceForUID,
                                  Operation::setNominalSampleRate,
                                  Operation::stopDevice,
                                  Operation::destroyIOProc,
                                  Operation::destroyAggregateDevice,
                                  Operation::destroyProcessTap};
  LayoutWorld world;
  world.startMic([] { return SampleSources::tone(220, 0.1f); });
  const auto app = world.play("org.music", SampleSources::tone(1000, 0.3f));
  int whole = 0, without = 0, none = 0;
  for (const Operation operation : operations)
    for (std::uint64_t n = 1; n <= 3; ++n) {
      const std::size_t before = world.filesInFolder();
      world.host().faults().clear();
      world.host().faults().failNth(operation, n, -50);
      world.recordings->startRecording(kBridgeBus);
      const bool begun = world.recordings->isRecording(kBridgeBus);
      EXPECT_EQ(begun, world.recordings->isRecording(kMicSource)) << operationName(operation);
      world.wait(0.5);
      const auto files = world.stop();
      world.wait(0.5);
      EXPECT_EQ(world.filesInFolder() - before, files.size()) << operationName(operation) << " " << n;
      for (const auto& [name, file] : files)
        EXPECT_GT(file.seconds(), 0.3) << name << " " << operationName(operation) << " " << n;
      (files.size() == 3 ? whole : files.size() == 2 ? without : none) += 1;
      EXPECT_TRUE(files.size() == 3 || files.size() == 2 || files.empty()) << files.size();
      EXPECT_EQ(world.host().counts().captures, 0u);
    }
  world.host().faults().clear();
  EXPECT_GT(whole, 5);
  EXPECT_GE(without, 4) << "the apps' tap";
  EXPECT_GE(none, 3) << "the capture of the bridge";
}

TEST(Layouts, DualMonoSplitsTheBridgeForEveryoneWhoHearsIt) {
  LayoutWorld world;
  DualMonoEngine dualMono(world.log, world.settings, world.notifications);
  const Subscription changes = world.notifications.observe(DualMonoEngine::kChanged, [&](const auto&) {
    world.engine->setDualMono(*dualMono.isEnabled);
    world.mic->restart();
  });
  world.startMic([] { return SampleSources::tone(220, 0.1f); });
  const auto app = world.play("org.music", SampleSources::tone(1000, 0.3f));
  ASSERT_TRUE(world.engine->setBus("org.music", kBridgeBus) && world.engine->setRouted("org.music", true));
  dualMono.setLayout(RecordingLayout::dualMono);
  EXPECT_TRUE(world.settings.boolValue("sonmere.dualmono.isEnabled"));
  world.wait(1);
  world.recordings->startRecording(kBridgeBus);
  world.wait(2);
  auto files = world.stop();
  ASSERT_EQ(files.size(), 1u);
  ASSERT_TRUE(files.contains("Recording"));
  EXPECT_LT(residueDb(middleOf(files["Recording"].left()), 0, 220, 48000), -60) << "the microphone alone";
  EXPECT_LT(residueDb(middleOf(files["Recording"].right()), 0, 1000, 48000), -60) << "the app alone";

  dualMono.setLayout(RecordingLayout::mixed);
  EXPECT_FALSE(world.settings.boolValue("sonmere.dualmono.isEnabled"));
  world.wait(1);
  world.recordings->startRecording(kBridgeBus);
  world.wait(2);
  files = world.stop();
  EXPECT_LT(residueDb(middleOf(files["Recording"].right()), 0, 1000, 48000), -5);
  EXPECT_GT(residueDb(middleOf(files["Recording"].right()), 0, 1000, 48000), -20) << "both on both sides";
}

TEST(Layouts, WhatALayoutNeedsIsSwitchedOnForTheTakeAndOffAgain) {
  LayoutWorld world;
  SimulatedDeviceDescription device;
  device.uid = device.name = kInterfaceUID;
  device.inputChannels = 2;
  device.outputChannels = 0;
  world.host().plug(device);
  world.settle();
  world.mic->select(kInterfaceUID);
  bool isFed = false;
  RecordingContext context{world.runtime,         world.log, world.settings, world.notifications,
                           world.context.folders, nullptr,   nullptr,        nullptr};
  RecordingSources sources(context, *world.recordings, [&] { return isFed; });
  sources.add({"the microphone", [&] { return world.mic->isRunning(); },
               [&](bool on) { world.mic->setEnabled(on); }});
  bool isSystemOn = false;
  sources.add({"system audio", [&] { return isSystemOn; }, [&](bool on) { isSystemOn = on; }, true});
  world.choose(RecordingLayout::dualMono);
  EXPECT_EQ(sources.missing(), std::vector<std::string>{"the microphone"}) << "the other fills both sides";
  world.choose(RecordingLayout::mixed);
  isFed = true;
  EXPECT_TRUE(sources.missing().empty()) << "something plays there";
  isFed = false;
  EXPECT_EQ(sources.missing(), (std::vector<std::string>{"the microphone", "system audio"}));

  world.choose(RecordingLayout::separateTracks);
  const auto start = [&] { world.recordings->startRecording(kBridgeBus); };
  sources.prepare(start);
  EXPECT_TRUE(world.mic->isRunning() && isSystemOn);
  EXPECT_FALSE(world.recordings->isRecording(kBridgeBus)) << "not before it has come up";
  world.wait(1);
  EXPECT_TRUE(world.recordings->isRecording(kMicSource));
  // The session goes on in other files: it stays on.
  std::filesystem::remove(world.recordings->busRecordingStatuses->at(kBridgeBus).path);
  world.wait(2);
  EXPECT_TRUE(world.mic->isRunning());
  EXPECT_TRUE(world.recordings->isRecording(kMicSource)) << "all of the session goes on";
  world.stop();
  world.wait(0.1);
  EXPECT_FALSE(world.mic->isRunning() || isSystemOn);

  world.host().faults().failNth(Operation::captureStart, 1, -50);
  sources.prepare(start);
  world.wait(1);
  EXPECT_FALSE(world.recordings->isRecording(kBridgeBus));
  EXPECT_FALSE(world.mic->isRunning()) << "for a take that did not begin";
}

}  // namespace
}  // namespace sonmere
