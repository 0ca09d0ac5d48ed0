// What is recorded of the bridge is what another program hears there: apps, microphone and whoever else plays
// into it, through all that the device goes through.
#include <gtest/gtest.h>

#include "RecordingWorld.h"
#include "audio/file/AudioFileReader.h"
#include "input/MicPassthroughEngine.h"
#include "recording/BridgeCapture.h"
#include "simulated/Signals.h"

namespace sonmere {
namespace {

constexpr const char* kBridgeUID = "ToneFerry_UID";

struct Take {
  std::vector<float> samples;  // interleaved stereo
  double rate = 0;
  double seconds() const { return double(samples.size()) / 2 / rate; }
};

struct BridgeWorld : RecordingWorld {
  BridgeWorld() { startWith(createAudioFile); }

  void startWith(AudioFileFactory factory) {
    startAll();
    recordings = std::make_unique<BusRecordings>(
        RecordingContext{
            runtime, log, settings, notifications, context.folders,
            RecordingHealth::create(runtime, log, notifications, context.folders.applicationSupport),
            std::make_shared<FlushDeadline>(), std::move(factory), &platform},
        *feed);
  }
  SimulatedApp playInto(std::unique_ptr<SampleSource> source) {
    SimulatedApp app = launch("org.other");
    app.setDevice(kBridgeUID);
    app.play(std::move(source));
    return app;
  }
  Take take() {
    const auto paths = stopRecordings();
    EXPECT_EQ(paths.size(), 1u);
    const auto reader = openAudioFile(paths.at(0));
    Take result;
    result.rate = (*reader)->format().sampleRate;
    result.samples.resize(std::size_t((*reader)->frameCount()) * 2);
    std::size_t done = 0;
    while (done < result.samples.size()) {
      const std::size_t left = (result.samples.size() - done) / 2;
      const auto frames =
          (*reader)->read(result.samples.data() + done, std::uint32_t(std::min<std::size_t>(left, 4096)));
      if (frames.value_or(0) == 0) break;
      done += 2 * std::size_t(*frames);
    }
    EXPECT_EQ(done, result.samples.size());
    return result;
  }
  double lengthOfFirst() { return double(recordings->busRecordingStatuses->at(0).framesWritten); }
};

TEST(BridgeCapture, EveryFrameThatIsHeardThereIsInTheFile) {
  BridgeWorld world;
  const auto app = world.playInto(SampleSources::counter());
  world.recordings->startRecording(kBridgeBus);
  ASSERT_EQ(*world.recordings->errorMessage, "");
  EXPECT_EQ(world.recordings->recordingRate(kBridgeBus), std::nullopt) << "it binds no render";
  world.wait(3);
  const Take take = world.take();
  EXPECT_GT(take.seconds(), 2.8);
  const auto first = firstSound(take.samples);
  ASSERT_GE(first, 0);
  EXPECT_EQ(counterBreaks(take.samples, std::size_t(first)), 0u);
  EXPECT_EQ(world.host().counts().captures, 0u);
}

TEST(BridgeCapture, AppsAndMicrophoneTogether) {
  BridgeWorld world;
  world.host().permissions().set(Permission::microphone, PermissionStatus::authorized);
  MicPassthroughEngine mic(world.context);
  mic.launch();
  mic.setEnabled(true);
  SimulatedApp app = world.launch("org.music");
  app.play(SampleSources::tone(1000, 0.3f));
  world.settle();
  ASSERT_TRUE(world.engine->setBus("org.music", kBridgeBus) && world.engine->setRouted("org.music", true));
  world.wait(1);
  world.recordings->startRecording(kBridgeBus);
  world.wait(2);
  const Take take = world.take();
  const auto left = channelOf(take.samples, 0, 2);
  // Without the app's tone there is the microphone's, and without that nothing.
  EXPECT_GT(residueDb(left, 4800, 1000, 48000), -20);
  EXPECT_LT(residueDb(left, 4800, 1000, 48000), -5);
  EXPECT_NEAR(residueDb(left, 4800, 220, 48000), 20 * std::log10(0.3 / 0.1), 1);
}

// Another program changes the rate: the file keeps its own, and the pitch stays.
TEST(BridgeCapture, AnotherRateIsConverted) {
  BridgeWorld world;
  const auto app = world.playInto(SampleSources::tone(1000, 0.5f));
  world.recordings->startRecording(kBridgeBus);
  world.wait(2);
  ASSERT_TRUE(world.host().setNominalRate(kBridgeUID, 96000));
  world.wait(2);
  EXPECT_TRUE(world.logged(
      "BridgeCapture: restarting after a configuration change, bridge 96000 Hz 2 ch, file 48000 Hz"));
  ASSERT_TRUE(world.host().setNominalRate(kBridgeUID, 48000));
  world.wait(2);
  const Take take = world.take();
  EXPECT_EQ(take.rate, 48000);
  EXPECT_NEAR(take.seconds(), 6 - 2 * 0.4, 0.3) << "but for two restarts";
  // The part at the other rate, in the middle of it.
  const auto left = channelOf(take.samples, 0, 2);
  const std::vector<float> middle(left.begin() + 48000 * 5 / 2, left.begin() + 48000 * 7 / 2);
  EXPECT_LT(residueDb(middle, 0, 1000, 48000), -60);
}

TEST(BridgeCapture, TheBridgeMayGoAndComeAndTheServerToo) {
  BridgeWorld world;
  const auto app = world.playInto(SampleSources::tone(1000, 0.5f));
  world.recordings->startRecording(kBridgeBus);
  world.wait(1);
  world.host().removeDriver();
  world.wait(1);
  EXPECT_TRUE(world.logged("BridgeCapture: bridge not available yet, retrying"));
  world.host().installDriver();
  world.wait(1.5);
  double before = world.lengthOfFirst();
  world.wait(1);
  EXPECT_GT(world.lengthOfFirst() - before, 40000) << "it goes on";
  world.host().restartService(fromMilliseconds(500));
  world.wait(2);
  before = world.lengthOfFirst();
  world.wait(1);
  EXPECT_GT(world.lengthOfFirst() - before, 40000);
  EXPECT_TRUE(world.recordings->isRecording(kBridgeBus));
  world.take();
}

TEST(BridgeCapture, AStartThatFailsLeavesNothing) {
  BridgeWorld world;
  for (const Operation operation :
       {Operation::captureSetCurrentDevice, Operation::captureInstallTap, Operation::captureStart}) {
    world.host().faults().failNth(operation, 1, -50);
    world.recordings->startRecording(kBridgeBus);
    EXPECT_FALSE(world.recordings->isRecording(kBridgeBus)) << operationName(operation);
    EXPECT_NE(world.recordings->errorMessage->find("-50"), std::string::npos)
        << *world.recordings->errorMessage;
    world.wait(1);
    EXPECT_EQ(world.host().counts().captures, 0u);
  }
  world.host().removeDriver();
  world.recordings->startRecording(kBridgeBus);
  EXPECT_EQ(*world.recordings->errorMessage,
            "Couldn't start recording: Sonmere Tone Ferry not found. Is the driver installed?");
  for (const auto& entry : std::filesystem::directory_iterator(world.folder.path()))
    EXPECT_NE(entry.path().extension(), ".wav") << entry.path();
}

}  // namespace
}  // namespace sonmere
