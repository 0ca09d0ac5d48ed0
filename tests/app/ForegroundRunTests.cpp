#include "app/ForegroundRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "apps/FamilyRules.h"
#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);

// On a drive that goes away, when the file is to be closed or at its first write.
class FileThatHangs final : public AudioFileWriter {
 public:
  FileThatHangs(Runtime& runtime, std::string path, const AudioFileSettings& settings,
                bool hangsAtOnce = false)
      : runtime_(runtime),
        hangsAtOnce_(hangsAtOnce),
        path_(std::move(path)),
        format_{settings.sampleRate, settings.channels} {}
  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }
  Outcome<void> write(const PCMBuffer&) override {
    if (std::exchange(hangsAtOnce_, false)) runtime_.blockFor(60 * kSecond);
    return {};
  }
  Outcome<void> close() override {
    runtime_.blockFor(60 * kSecond);
    return {};
  }

 private:
  Runtime& runtime_;
  bool hangsAtOnce_;
  const std::string path_;
  const PCMFormat format_;
};

struct ForegroundRunTest : testing::Test {
  ForegroundRunTest() { setenv("SONMERE_RESOURCES", SONMERE_SOURCE_DIR "/resources", 1); }
  void begin(RunOptions options) {
    run = std::make_unique<ForegroundRun>(world.runtime, world.start(), world.platform, std::move(options));
    ASSERT_TRUE(run->prepare());
    run->start({[this] { isWaiting = true; }, [this] { readyAt = world.runtime.uptime(); },
                [this](const RunReport& itsReport) {
                  EXPECT_FALSE(report) << "once";
                  report = itsReport;
                  doneAt = world.runtime.uptime();
                }});
  }
  const RunReport::App& app(const std::string& id) const {
    return *std::ranges::find(report->apps, id, &RunReport::App::id);
  }

  // `quitting` is done right after the quit, which takes so long.
  void quitWithAHungDrive(const std::function<void()>& quitting, Duration expected) {
    world.createFile = [this](const std::string& path, const AudioFileSettings& settings) {
      return std::make_shared<FileThatHangs>(world.runtime, path, settings);
    };
    RunOptions options;
    options.demoApps = true;
    options.routes = {{"beat", 2}};
    options.recordedBuses = {2};
    begin(options);
    // Inside of the time that the drive hangs, which passes in one go out here.
    const Duration quitAt = 3 * kSecond;
    world.runtime.mainQueue().postAfter(quitAt, [&] {
      run->quit();
      run->quit();
      quitting();
      EXPECT_FALSE(report) << "not before the file had its time";
    });
    world.runtime.mainQueue().postAfter(quitAt + expected + kSecond / 2, [&] {
      ASSERT_TRUE(report);
      EXPECT_GE(*doneAt, quitAt + expected);
      EXPECT_TRUE(world.app->isWriting());
    });
    world.runtime.advance(120 * kSecond);
    ASSERT_TRUE(report);
    EXPECT_FALSE(world.app->isWriting());
  }

  AppWorld<VirtualRuntime> world{1};
  std::unique_ptr<ForegroundRun> run;
  bool isWaiting = false;
  std::optional<Duration> readyAt, doneAt;
  std::optional<RunReport> report;
};

TEST_F(ForegroundRunTest, RoutesRecordsAndEndsAfterItsTime) {
  RunOptions options;
  options.demoApps = true;
  options.routes = {{"Music", 2}, {"beat", 3}, {"speech", std::nullopt}, {"absent", 4}};
  options.volumes = {{"music", 0.5f}, {"speech", 0.25f}};
  options.recordedBuses = {2, 5};
  options.seconds = 3;
  begin(options);
  world.runtime.advance(10 * kSecond);
  ASSERT_TRUE(report);
  EXPECT_GE(*doneAt - *readyAt, 3 * kSecond);
  EXPECT_EQ(report->errors, std::vector<std::string>{});
  EXPECT_EQ(app("music").bus, 2);
  EXPECT_EQ(app("music").volume, 0.5f);
  EXPECT_EQ(app("speech").bus, std::nullopt);
  EXPECT_EQ(app("speech").volume, 0.25f) << "that of the mixer";
  ASSERT_EQ(report->routes.size(), 4u);
  EXPECT_TRUE(report->routes[0].isArmed && report->routes[1].isArmed && report->routes[2].isArmed);
  EXPECT_FALSE(report->routes[3].isArmed);
  ASSERT_EQ(report->recordings.size(), 1u) << "nothing plays on bus 5";
  const RunReport::Recording& recording = report->recordings[0];
  EXPECT_NEAR(double(recording.frames), 3 * 48000, 4800);
  EXPECT_EQ(recording.lostFrames, 0);
  EXPECT_EQ((*openAudioFile(recording.path))->frameCount(), recording.frames);
}

TEST_F(ForegroundRunTest, AnAppThatComesLaterIsArmedAndItsBusRecorded) {
  RunOptions options;
  options.routes = {{"late", 4}};
  options.volumes = {{"late", 2.0f}};
  options.recordedBuses = {4};
  begin(options);
  world.runtime.advance(kSecond);
  EXPECT_TRUE(run->isReady());
  world.launch("late");
  world.platform.embedded()->playAll();
  world.runtime.advance(2 * kSecond);
  run->quit();
  world.runtime.advance(kSecond);
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->routes[0].isArmed);
  EXPECT_EQ(app("late").volume, 2.0f);
  ASSERT_EQ(report->recordings.size(), 1u);
  EXPECT_GT(report->recordings[0].frames, 48000);
}

TEST_F(ForegroundRunTest, AVolumeIsThatOfTheRouteHoweverEachNamesTheApp) {
  const std::string id(FamilyRules::kCallAudioKey);
  RunOptions options;
  options.routes = {{id, 4}};
  options.volumes = {{FamilyRules::familyName(id), 0.5f}};
  world.launch("com.apple.avconferenced");
  begin(options);
  world.platform.embedded()->playAll();
  world.runtime.advance(2 * kSecond);
  run->quit();
  world.runtime.advance(kSecond);
  ASSERT_TRUE(report);
  EXPECT_EQ(app(id).bus, 4);
  EXPECT_EQ(app(id).volume, 0.5f);
}

TEST_F(ForegroundRunTest, AHungDriveIsGivenUpInTime) {
  quitWithAHungDrive([] {}, FlushDeadline::kQuitTime);
}

TEST_F(ForegroundRunTest, AQuitGoesThroughWhereAHungDriveIsNotGivenUp) {
  const auto forget = [this] { world.app->flushDeadline()->set(world.runtime.uptime() + 60 * kSecond); };
  quitWithAHungDrive(forget, AppDelegate::kQuitLimit);
}

TEST_F(ForegroundRunTest, FilesThatAreOpenedBringTheProgramForwardOnceItHasStarted) {
  AppDelegate& delegate = world.start().appDelegate();
  int asked = 0;
  const auto observer =
      world.app->notifications().observe(AppDelegate::kOpenMainWindow, [&](const auto&) { ++asked; });
  delegate.applicationOpen({"/a/early.wav"});
  EXPECT_EQ(asked, 0);
  world.app->startUp();
  EXPECT_EQ(asked, 1);
  delegate.applicationOpen({"/a/text.txt"});
  EXPECT_EQ(asked, 1) << "nothing to show";
  delegate.applicationOpen({"/a/late.flac"});
  EXPECT_EQ(asked, 2);
}

TEST_F(ForegroundRunTest, AFolderForThisRunIsWrittenToThroughTheQueueAsAnyOther) {
  world.recordingsFolder = (world.folder / "elsewhere").string();
  world.createFile = [this](const std::string& path, const AudioFileSettings& settings) {
    EXPECT_TRUE(path.starts_with(*world.recordingsFolder));
    return std::make_shared<FileThatHangs>(world.runtime, path, settings, true);
  };
  RunOptions options;
  options.demoApps = true;
  options.routes = {{"beat", 2}};
  options.recordedBuses = {2};
  begin(options);
  std::optional<Duration> stopped;
  const Duration stopAt = 3 * kSecond;
  world.runtime.mainQueue().postAfter(stopAt, [&] {
    world.app->recordings()->stopRecording(2, [&](auto) { stopped = world.runtime.uptime(); });
  });
  world.runtime.advance(100 * kSecond);
  ASSERT_TRUE(stopped);
  EXPECT_GE(*stopped, stopAt + 15 * kSecond) << "a direct write is given up after 5 s";
}

// A signal may come before there is anything to end.
TEST_F(ForegroundRunTest, AQuitBeforeTheStartEndsItThen) {
  run = std::make_unique<ForegroundRun>(world.runtime, world.start(), world.platform, RunOptions{});
  run->quit();
  run->start({[] {}, [] { FAIL() << "ready"; }, [this](const RunReport& itsReport) { report = itsReport; }});
  EXPECT_TRUE(report);
}

TEST_F(ForegroundRunTest, QuitsAtOnceWithoutRecordings) {
  begin({});
  world.runtime.advance(kSecond);
  run->quit();
  EXPECT_TRUE(report);
}

TEST_F(ForegroundRunTest, TheLatencyHistoryGrowsOnlyWhilePathsExist) {
  const auto history = std::filesystem::path(world.folders().applicationSupport) / "latency-history.jsonl";
  begin({});
  world.runtime.advance(60 * kSecond);
  EXPECT_FALSE(std::filesystem::exists(history));
  world.launch("app");
  world.platform.embedded()->playAll();
  world.runtime.advance(kSecond);
  EXPECT_TRUE(world.app->appTapEngine()->setRouted("app", true));
  const auto grows = [&] {
    std::filesystem::remove(history);
    world.runtime.advance(PerformanceMonitor::kTick + kSecond);
    return std::filesystem::exists(history);
  };
  world.settings.set(LatencyProbe::kEveryTickKey, true);
  EXPECT_TRUE(grows());
  EXPECT_TRUE(world.app->appTapEngine()->setRouted("app", false));
  EXPECT_FALSE(grows());

  // All that gives the mixer a path, and takes it.
  VolumeMixerEngine& mixer = *world.app->volumeMixerEngine();
  mixer.setEnabled(true);
  EXPECT_TRUE(grows()) << "on";
  mixer.setMuted("app", true);
  EXPECT_FALSE(grows()) << "muted";
  mixer.setMuted("app", false);
  EXPECT_TRUE(grows()) << "unmuted";
  mixer.setDirect("app", true);
  EXPECT_FALSE(grows()) << "Direct";
  mixer.setDirect("app", false);
  EXPECT_TRUE(grows()) << "no longer Direct";
  mixer.setEnabled(false);
  EXPECT_FALSE(grows()) << "off";
}

TEST_F(ForegroundRunTest, TheMixerTakesWhatIsNotRoutedAndLetsGoOfWhatIs) {
  RunOptions options;
  options.demoApps = true;
  begin(options);
  world.runtime.advance(kSecond);
  ASSERT_TRUE(world.app->volumeMixerEngine()->setEnabled(true));
  EXPECT_EQ(world.app->volumeMixerEngine()->activeTaps().size(), 3u);
  EXPECT_TRUE(world.app->appTapEngine()->setRouted("music", true));
  EXPECT_EQ(world.app->volumeMixerEngine()->activeTaps().size(), 2u);
  EXPECT_TRUE(world.app->appTapEngine()->setRouted("music", false));
  EXPECT_EQ(world.app->volumeMixerEngine()->activeTaps().size(), 3u);
}

}  // namespace
}  // namespace sonmere
