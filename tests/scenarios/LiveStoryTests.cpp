#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "app/TapEngineRecorderFeed.h"
#include "audio/file/AudioFileReader.h"
#include "audio/file/ReaderError.h"
#include "base/LiveRuntime.h"
#include "driver/TrackNamesStore.h"
#include "mixer/VolumeMixerEngine.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "recording/BusRecordings.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingInsides.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// The same server with a thread per device. SONMERE_LIVE_SECONDS makes it longer.
class LiveStory {
 public:
  LiveStory() {
    platform_.host().plugStandardMachine();
    platform_.host().installDriver();
    for (const char* app : {"music", "game", "radio"}) launch(app);
    engine_->start();
    mixer_.attach(engine_);
    mixer_.setEnabled(true);
    engine_->setRecordingRate([this](int bus) { return recordings_.recordingRate(bus); });
  }

  void play(double seconds) {
    act_ = runtime_.mainQueue().repeat(fromMilliseconds(37), [this] { step(); });
    const TaskToken end = runtime_.mainQueue().postAfter(fromSeconds(seconds), [this] {
      act_.cancel();
      recordings_.stopAllRecordings([this](auto) { runtime_.stop(); });
    });
    runtime_.run();
    end.cancel();
  }

  // Every file reads to the end that its header tells, or is empty; and something was recorded.
  void checkFiles() {
    std::int64_t recorded = 0;
    std::vector<float> block(2 * 4096);
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      auto reader = openAudioFile(entry.path().string());
      EXPECT_TRUE(reader || isFault(reader.error(), ReaderFault::noAudio)) << entry.path();
      if (!reader) continue;
      std::int64_t frames = 0;
      while (const auto n = (*reader)->read(block.data(), 4096).value_or(0)) frames += n;
      EXPECT_EQ(frames, (*reader)->frameCount()) << entry.path();
      recorded += frames;
    }
    EXPECT_GT(recorded, 0);
  }
  // Sound passed from one device thread to another.
  void checkSound() {
    std::int64_t read = 0;
    for (const auto& [pid, tap] : RoutingInsides(*engine_).activeTaps) read += tap->ring.reader().read;
    EXPECT_GT(read + readBefore_, 0);
    EXPECT_GT(mixed_, 0);
  }

 private:
  void launch(const std::string& app) {
    SimulatedAppDescription description;
    description.bundleID = description.name = app;
    apps_[app] = platform_.host().launchApp(description);
    apps_[app].play(SampleSources::counter());
  }

  void step() {
    static const std::vector<std::string> kApps = {"music", "game", "radio"};
    const std::string app = kApps[random_() % kApps.size()];
    const int bus = random_() % 2 ? 2 : 3;
    for (const auto& [bundleID, tap] : mixer_.activeTaps()) mixed_ += tap->ring.reader().reads;
    switch (random_() % 14) {
      case 0:
        apps_[app].isRunning() ? apps_[app].quit() : launch(app);
        break;
      case 1:
      case 2:
      case 3:
        engine_->setRouted(app, true);
        break;
      case 4:
        if (const auto tap = engine_->tapOf(app)) readBefore_ += tap->ring.reader().read;
        engine_->setRouted(app, false);
        break;
      case 5:
        engine_->setBus(app, bus);
        break;
      case 6:
        engine_->setVolume(app, float(random_() % 300) / 100);
        break;
      case 7:
        engine_->effects().setAppEqualiser(app, {.isEnabled = true, .paraGain = double(random_() % 9)},
                                           SettingForm::live);
        engine_->effects().setMasterEqualiser(bus, {.isEnabled = true, .paraGain = 3}, SettingForm::final);
        engine_->effects().setMasterLimiter(bus, {true, -3}, SettingForm::final);
        break;
      case 8:
        recordings_.isRecording(bus) ? recordings_.stopRecording(bus) : recordings_.startRecording(bus);
        break;
      case 9:
        engine_->setMuted(app, random_() % 2);
        break;
      case 10:
        mixer_.setVolume(app, float(random_() % 300) / 100);
        mixer_.setMasterVolume(float(random_() % 200) / 100);
        break;
      case 11:
        mixer_.setMuted(app, random_() % 2);
        break;
      case 12:
        mixer_.setOutputEqualiser({.isEnabled = random_() % 2 == 0, .paraGain = 3});
        mixer_.setDirect(app, random_() % 2);
        break;
      case 13:
        if (random_() % 3 == 0) mixer_.setEnabled(!*mixer_.isEnabled);
        platform_.host().setDefault(DefaultDevice::output,
                                    random_() % 2 ? SimulatedHost::kSpeakersUID : SimulatedHost::kHeadsetUID);
        break;
    }
  }

  std::mt19937 random_{5};
  TemporaryFolder folder_;
  LiveRuntime runtime_;
  Log log_;
  SimulatedPlatform platform_{runtime_, log_};
  MemorySettingsStore settings_;
  NotificationCenter notifications_;
  RenderFlags flags_;
  std::unique_ptr<MicSend> micSend_ = std::make_unique<MicSend>();
  EngineContext context_{runtime_,  log_,   settings_, notifications_,
                         platform_, flags_, *micSend_, {folder_.path().string(), folder_.path().string()}};
  std::shared_ptr<AppTapEngine> engine_ = std::make_shared<AppTapEngine>(context_);
  VolumeMixerEngine mixer_{context_, std::make_shared<TrackNamesStore>(settings_)};
  TapEngineRecorderFeed feed_{*engine_};
  BusRecordings recordings_{
      RecordingContext{runtime_, log_, settings_, notifications_, context_.folders,
                       RecordingHealth::create(runtime_, log_, notifications_, folder_.path().string()),
                       std::make_shared<FlushDeadline>()},
      feed_};
  std::map<std::string, SimulatedApp> apps_;
  std::int64_t readBefore_ = 0;
  std::int64_t mixed_ = 0;
  ScopedTask act_;
};

TEST(LiveStory, AppsRoutesAndRecordersComeAndGoOnRealThreads) {
  const char* chosen = std::getenv("SONMERE_LIVE_SECONDS");
  RealtimeGuard guard;
  {
    LiveStory story;
    story.play(chosen ? std::atof(chosen) : 3);
    story.checkSound();
    story.checkFiles();
  }
  EXPECT_REALTIME_SAFE(guard);
}

}  // namespace
}  // namespace sonmere
