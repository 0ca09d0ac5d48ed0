#include "recording/RecordingHealth.h"

#include <gtest/gtest.h>

#include "RecordingBench.h"
#include "base/AtomicFile.h"
#include "base/VirtualRuntime.h"

namespace sonmere {
namespace {

class RecordingHealthTest : public testing::Test {
 protected:
  VirtualRuntime runtime{1};
  RecordingBench bench{runtime};
  RecordingHealth& health = *bench.context.health;
  std::vector<std::string> reasons;
  Subscription subscription = bench.notifications.observe(
      "sonmere.recording.writeFailed",
      [this](const NotificationInfo& info) { reasons.push_back(info.at("reason")); });
  std::string file() {
    return readWholeFile(bench.folder / "support/recording-health.jsonl").value_or("(none)");
  }
};

TEST_F(RecordingHealthTest, ABurstGivesOneNoticeAndOneLine) {
  // From another queue: the notice still comes on the main one.
  runtime.serialQueue("writer")->post([&] {
    for (const char* writer : {"BusRecorder", "BridgeCapture", "MicSideRecorder"})
      health.noteWriterFailure(writer, "/r/a \xE2\x80\x94 b.wav", kDriveGone, 96000);
    EXPECT_TRUE(reasons.empty());
  });
  runtime.settle();
  EXPECT_EQ(reasons,
            std::vector<std::string>{"writing \"a \u2014 b.wav\" failed (NSPOSIXErrorDomain 5: write: "
                                     "Input/output error). Files were saved up to the failure."});
  EXPECT_EQ(health.failures().size(), 3u);
  const std::string line =
      "{\"writer\":\"BusRecorder\",\"file\":\"a \u2014 b.wav\",\"error\":\"NSPOSIXErrorDomain 5: write: "
      "Input/output error\",\"atFrame\":96000,\"date\":\"2026-01-01T12:00:00Z\"}\n";
  EXPECT_EQ(file(), line);

  runtime.advance(std::chrono::seconds(5));
  health.noteWriterFailure("BusRecorder", "/r/c.wav", kDriveGone, 1);
  runtime.settle();
  EXPECT_EQ(reasons.size(), 1u) << "5 seconds are not yet more than 5 seconds";
  runtime.advance(fromMilliseconds(1));
  health.noteWriterFailure("BusRecorder", "/r/\xFF.wav", kDriveGone, 1);
  runtime.settle();
  EXPECT_EQ(reasons.size(), 2u);
  EXPECT_EQ(health.failureCount(), 5);
  EXPECT_TRUE(file().starts_with(line));
  EXPECT_EQ(std::ranges::count(file(), '\n'), 2);
}

TEST_F(RecordingHealthTest, DiskFullIsToldFromOtherErrors) {
  const auto isDiskFull = [](const Error& error, const std::string& path) {
    const WriterFailure failure{
        "BusRecorder", path.substr(path.rfind('/') + 1), RecordingHealth::errorText(error), 0, {}};
    return RecordingHealth::reason(failure, path) ==
           "your disk is full. The files recorded so far were saved — free up space and record again.";
  };
  EXPECT_TRUE(isDiskFull({kPOSIXErrorDomain, 28, "nothing said"}, "/r/a.wav"));
  EXPECT_TRUE(isDiskFull({"NSCocoaErrorDomain", 640, "nothing said"}, "/r/a.wav"));
  EXPECT_TRUE(isDiskFull({"other", 1, "Out Of Space"}, "/r/a.wav"));
  EXPECT_FALSE(isDiskFull(kDriveGone, "/r/a.wav"));
  EXPECT_FALSE(isDiskFull({kPOSIXErrorDomain, 5, "Write /workspace/Space.wav: Input/output error"},
                          "/workspace/Space.wav"))
      << "a folder's name says nothing about the disk";
}

TEST_F(RecordingHealthTest, NoticeComesAlsoWhenItsLogCantBeWritten) {
  const auto other = RecordingHealth::create(runtime, bench.log, bench.notifications, "/proc/nowhere");
  other->noteWriterFailure("BusRecorder", "/r/a.wav", kDiskFull, 0);
  runtime.settle();
  EXPECT_EQ(reasons.size(), 1u);
  EXPECT_TRUE(bench.lines.back().starts_with("RecordingHealth: Create the folder /proc/nowhere"));
}

}  // namespace
}  // namespace sonmere
