#include "app/Demo.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);

// On a drive that goes away when the file is to be closed.
class FileThatHangsAtItsEnd final : public AudioFileWriter {
 public:
  FileThatHangsAtItsEnd(Runtime& runtime, std::string path, const AudioFileSettings& settings)
      : runtime_(runtime), path_(std::move(path)), format_{settings.sampleRate, settings.channels} {}
  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }
  Outcome<void> write(const PCMBuffer&) override { return {}; }
  Outcome<void> close() override {
    runtime_.blockFor(3600 * kSecond);
    return {};
  }

 private:
  Runtime& runtime_;
  const std::string path_;
  const PCMFormat format_;
};

class DemoTest : public testing::Test {
 protected:
  DemoTest() {
    options.apps = {{id, SONMERE_SOURCE_DIR "/resources/demo/beat.flac", true, 2, 1.0f, {}, {}}};
    options.folder = (folder / "out").string();
  }
  void prepare() {
    options.apps[0].id = id;
    auto made = Demo::prepare(runtime, log, options);
    ASSERT_TRUE(made) << made.error().description;
    demo = std::move(*made);
    demo->start([this](const DemoReport& itsReport) {
      report = itsReport;
      doneAt = runtime.uptime();
      wasWriting = demo->isWriting();
    });
  }

  TemporaryFolder folder;
  VirtualRuntime runtime{5};
  Log log;
  std::string id = "beat";
  DemoOptions options;
  std::unique_ptr<Demo> demo;
  std::optional<DemoReport> report;
  std::optional<Duration> doneAt;
  bool wasWriting = false;
};

// The app is heard once: on the monitor and not by itself.
TEST_F(DemoTest, WhatIsMonitoredIsRecordedAsTheSpeakersPlayIt) {
  options.bitDepth = RecordingBitDepth::float32;
  options.seconds = 3;
  options.monitored = {{PluginScope::ofBus(2), 0.5f}};
  prepare();
  runtime.advance(10 * kSecond);
  ASSERT_TRUE(report && !report->problem) << (report ? report->problem.value_or("") : "");
  ASSERT_EQ(report->heard.size(), 1u);
  const DemoReport::File& heard = report->heard[0].file;
  EXPECT_NEAR(heard.peak, report->files.at(0).peak / 2, 1e-4f);
  EXPECT_NEAR(double(heard.frames), 3 * 48000, 2000);
  const auto stampOf = [](const std::string& path) { return path.substr(path.rfind("—")); };
  EXPECT_EQ(stampOf(heard.path), stampOf(report->files[0].path)) << "one session";
}

// Each app on its device, pair by pair, at its volume, and on no bus.
TEST_F(DemoTest, AppsOnDevicesOfTheirOwnAreRecordedAsTheDevicesPlayThem) {
  options.bitDepth = RecordingBitDepth::float32;
  options.seconds = 3;
  options.apps.push_back(options.apps[0]);
  options.apps[1].id = "talk";
  options.apps[0].output = {"DemoInterface", 2, 3};
  options.apps[1].output = {"DemoInterface", 5, 4};
  options.apps[1].volume = 0.5f;
  prepare();
  runtime.advance(10 * kSecond);
  ASSERT_TRUE(report && !report->problem) << (report ? report->problem.value_or("") : "");
  EXPECT_TRUE(report->files.empty());
  ASSERT_EQ(report->heard.size(), 2u);
  EXPECT_EQ(report->apps[0].output, "Studio Interface");
  EXPECT_EQ(report->heard[1].left, 6);
  EXPECT_GT(report->heard[0].file.peak, 0.1f);
  EXPECT_NEAR(report->heard[1].file.peak, report->heard[0].file.peak / 2, 1e-3f);
  EXPECT_NEAR(double(report->heard[0].file.frames), 3 * 48000, 2000);
}

// Routed or not, each app reaches the speakers once, at its level.
TEST_F(DemoTest, SystemAudioAndMixModeAreRecordedAsTheSpeakersPlayThem) {
  const auto run = [this](std::optional<int> bus, bool hasSystemAudio, bool isMixed) {
    options.bitDepth = RecordingBitDepth::float32;
    options.seconds = 3;
    options.apps[0].bus = bus;
    options.hasSystemAudio = hasSystemAudio;
    options.isMixed = isMixed;
    report.reset();
    prepare();
    runtime.advance(10 * kSecond);
    EXPECT_TRUE(report && !report->problem) << (report ? report->problem.value_or("") : "");
    EXPECT_EQ(report->heard.size(), 1u);
    return report->heard.empty() ? 0.0f : report->heard[0].file.peak;
  };
  const float system = run(std::nullopt, true, false);
  EXPECT_GT(system, 0.1f);
  ASSERT_EQ(report->files.size(), 1u);
  EXPECT_NEAR(report->files[0].peak, system, 0.1f) << "the bridge, on a clock of its own";
  EXPECT_NEAR(run(std::nullopt, false, true), system, 1e-3f) << "caught";
  EXPECT_NEAR(run(2, false, true), system, 1e-3f) << "routed";
  EXPECT_NEAR(report->files.at(0).peak, system, 1e-3f);
}

// The app's gain and its bus's are both heard in the file; what can't be had ends the demo before it plays.
TEST_F(DemoTest, PluginsAreHeardInTheRecordings) {
  const auto peak = [this](std::vector<DemoOptions::Plugin> plugins) {
    options.plugins = std::move(plugins);
    options.bitDepth = RecordingBitDepth::float32;
    options.seconds = 3;
    report.reset();
    prepare();
    runtime.advance(10 * kSecond);
    const bool isWhole = report && !report->problem && report->files.size() == 1;
    EXPECT_TRUE(isWhole) << (report ? report->problem.value_or("") : "no report");
    return isWhole ? report->files[0].peak : 0.0f;
  };
  const float dry = peak({});
  const float wet = peak({{PluginScope::ofApp("beat"), "urn:sonmere:gain", {{"Gain", "-6.0206"}}},
                          {PluginScope::ofBus(2), "urn:sonmere:gain", {{"gain", "-6.0206"}}}});
  EXPECT_GT(dry, 0.1f);
  EXPECT_NEAR(wet, dry / 4, 1e-4f);

  options.plugins = {{PluginScope::ofBus(2), "urn:sonmere:gain", {{"loudness", "1"}}}};
  report.reset();
  prepare();
  runtime.advance(10 * kSecond);
  ASSERT_TRUE(report && report->problem);
  EXPECT_EQ(*report->problem, "--plugin urn:sonmere:gain: \"Gain\" has no control \"loudness\"; it has gain");
}

TEST_F(DemoTest, AnAppThatCantBeRoutedEndsItWithAProblem) {
  id = "beat.helper";
  prepare();
  runtime.advance(kSecond);
  ASSERT_TRUE(report) << "at once, not after 20 seconds";
  ASSERT_TRUE(report->problem);
  EXPECT_TRUE(report->problem->starts_with("the app \"beat.helper\" could not be routed to Track 1 (bus 2)"))
      << *report->problem;
  EXPECT_TRUE(report->files.empty());
}

TEST_F(DemoTest, QuittingWaitsForAHungDriveOnlyAsLongAsAQuitMay) {
  options.createFile = [this](const std::string& path, const AudioFileSettings& settings) {
    return std::make_shared<FileThatHangsAtItsEnd>(runtime, path, settings);
  };
  prepare();
  const Duration quitAt = 3 * kSecond;
  runtime.mainQueue().postAfter(quitAt, [this] { demo->quit(); });
  runtime.mainQueue().postAfter(30 * kSecond, [&] {
    ASSERT_TRUE(doneAt);
    EXPECT_GE(*doneAt, quitAt + FlushDeadline::kQuitTime);
    EXPECT_LE(*doneAt, quitAt + FlushDeadline::kQuitTime + kSecond / 5);
    EXPECT_TRUE(wasWriting);
    EXPECT_TRUE(demo->isWriting());
  });
  runtime.advance(4000 * kSecond);
  EXPECT_FALSE(demo->isWriting());
}

}  // namespace
}  // namespace sonmere
