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
