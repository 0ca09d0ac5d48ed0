#include "recording/AudioFileSink.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "RecordingBench.h"
#include "base/VirtualRuntime.h"
#include "recording/SinkError.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);

class AudioFileSinkTest : public testing::Test {
 protected:
  void make(bool isQueued, double sampleRate = 100) {
    AudioFileSettings settings;
    settings.sampleRate = sampleRate;
    settings.channels = 1;
    file = std::make_shared<MemoryFile>("/drive/take.wav", settings);
    sink = AudioFileSink::create(bench.context, file, "BusRecorder", isQueued);
  }
  // Frames numbered on from the last call that asked for numbers.
  Outcome<void> write(std::uint32_t frames) {
    PCMBuffer buffer(file->processingFormat(), frames);
    buffer.setFrameLength(frames);
    for (std::uint32_t i = 0; i < frames; ++i) buffer.channel(0)[i] = float(offered + i);
    const auto written = sink->write(buffer);
    if (written) offered += frames;
    std::fill_n(buffer.channel(0), frames, -1.0f);  // the caller uses its buffer again at once
    return written;
  }
  void expectNumbered(std::int64_t frames) {
    const auto samples = file->samples();
    ASSERT_EQ(std::int64_t(samples.size()), frames);
    for (std::int64_t i = 0; i < frames; ++i) ASSERT_EQ(samples[std::size_t(i)], float(i));
  }
  void hangFor(Duration duration) {
    file->beforeWrite = [this, duration](int) { runtime.blockFor(duration); };
  }

  VirtualRuntime runtime{7};
  RecordingBench bench{runtime};
  std::shared_ptr<MemoryFile> file;
  std::shared_ptr<AudioFileSink> sink;
  std::int64_t offered = 0;
};

TEST_F(AudioFileSinkTest, DirectWritesReachTheFileAtOnceAndPassItsErrorsOn) {
  make(false);
  EXPECT_TRUE(write(10));
  expectNumbered(10);
  file->nextError = kDriveGone;
  EXPECT_EQ(write(10).error(), kDriveGone);
  EXPECT_TRUE(write(5)) << "a direct sink latches nothing";
  expectNumbered(15);
  EXPECT_EQ(bench.context.health->failureCount(), 0) << "the recorder reports it";
  sink->flush(kSecond);
  EXPECT_EQ(runtime.uptime(), Duration::zero());
}

TEST_F(AudioFileSinkTest, QueueHoldsThirtySecondsAndRecovers) {
  make(true);
  ASSERT_EQ(sink->maxPendingFrames(), 3000);
  EXPECT_TRUE(write(0));
  EXPECT_EQ(sink->pendingFrames(), 0);
  EXPECT_TRUE(write(2999));
  EXPECT_EQ(write(2).error(), SinkError::queueFull());
  EXPECT_TRUE(write(1)) << "exactly the bound";
  EXPECT_EQ(write(1).error().description, "The recording drive did not keep up; audio was dropped.");
  EXPECT_EQ(sink->pendingFrames(), 3000);
  EXPECT_EQ(file->frames(), 0) << "nothing is written on the caller's thread";
  runtime.settle();
  EXPECT_EQ(sink->pendingFrames(), 0);
  EXPECT_TRUE(write(100));
  runtime.settle();
  expectNumbered(3100);
  EXPECT_EQ(bench.context.health->failureCount(), 0);

  make(true, 0);
  EXPECT_EQ(sink->maxPendingFrames(), 30);
}

TEST_F(AudioFileSinkTest, FirstFailureOfTheQueueIsFinal) {
  make(true);
  file->beforeWrite = [this](int n) {
    if (n == 3) file->nextError = kDriveGone;
  };
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(write(10));
  runtime.settle();
  expectNumbered(20);
  EXPECT_EQ(sink->pendingFrames(), 0);
  EXPECT_TRUE(bench.logged("AudioFileSink(BusRecorder): write failed: write: Input/output error"));
  const auto failures = bench.context.health->failures();
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].writer, "BusRecorder");
  EXPECT_EQ(failures[0].file, "take.wav");
  EXPECT_EQ(failures[0].atFrame, 20);
  EXPECT_EQ(write(10).error(), kDriveGone);
  EXPECT_EQ(write(10).error(), kDriveGone);
  sink->flush(kSecond);
  EXPECT_EQ(runtime.uptime(), Duration::zero());
  expectNumbered(20);
}

// The drive hangs for a minute; how long does a flush that begins at second 10 wait?
TEST_F(AudioFileSinkTest, FlushWaitsForItsTimeoutOrTheDeadlineButNeverLessThanAMoment) {
  struct Case {
    std::optional<double> deadline;  // uptime, seconds
    double waits;
  };
  for (const bool isAsync : {false, true}) {
    for (const Case& c : {Case{std::nullopt, 15}, Case{13, 3}, Case{10.1, 0.2}, Case{4, 0.2}, Case{90, 15}}) {
      SCOPED_TRACE(testing::Message() << "deadline " << c.deadline.value_or(-1) << " async " << isAsync);
      VirtualRuntime fresh(3);
      RecordingBench own(fresh);
      const auto hung = std::make_shared<MemoryFile>("/drive/take.wav", AudioFileSettings{});
      hung->beforeWrite = [&](int) { fresh.blockFor(60 * kSecond); };
      const auto flushed = AudioFileSink::create(own.context, hung, "BusRecorder", true);
      PCMBuffer buffer(hung->processingFormat(), 10);
      buffer.setFrameLength(10);
      ASSERT_TRUE(flushed->write(buffer));
      std::optional<Duration> over;
      const auto note = [&](bool inTime) {
        EXPECT_FALSE(inTime);
        over = fresh.uptime();
      };
      own.at(10 * kSecond, [&] {
        if (c.deadline) own.context.flushDeadline->set(fromSeconds(*c.deadline));
        if (isAsync) return flushed->flushAsync(15 * kSecond, note);
        flushed->flush(15 * kSecond);
        note(hung->frames() > 0);
      });
      fresh.advance(50 * kSecond);
      EXPECT_EQ(over, 10 * kSecond + fromSeconds(c.waits));
      EXPECT_TRUE(
          own.logged("AudioFileSink(BusRecorder): flush timed out, the drive is not responding; writing "
                     "continues in the "
                     "background"));
      EXPECT_EQ(hung->frames(), 10) << "written in the background";
    }
  }
}

TEST_F(AudioFileSinkTest, FlushEndsWhenTheDriveComesBackAndADeadlineSetMeanwhileCounts) {
  make(true);
  hangFor(2 * kSecond);
  ASSERT_TRUE(write(10));
  std::vector<std::pair<bool, Duration>> ends;
  const auto note = [&](bool inTime) { ends.emplace_back(inTime, runtime.uptime()); };
  sink->flushAsync(15 * kSecond, note);
  runtime.advance(5 * kSecond);
  EXPECT_EQ(ends, (std::vector{std::pair{true, 2 * kSecond}}));

  hangFor(60 * kSecond);
  ASSERT_TRUE(write(10));
  sink->flushAsync(15 * kSecond, note);
  bench.at(6 * kSecond, [&] { bench.context.flushDeadline->set(8 * kSecond); });  // a quit begins
  runtime.advance(20 * kSecond);
  ASSERT_EQ(ends.size(), 2u);
  EXPECT_FALSE(ends[1].first);
  EXPECT_LE(ends[1].second, 8 * kSecond);
}

TEST_F(AudioFileSinkTest, ClosesAfterTheQueueAndReportsAFailureOnce) {
  const auto queue = runtime.serialQueue("recorder");
  for (const bool isQueued : {false, true}) {
    offered = 0;
    make(isQueued);
    const auto before = bench.context.health->failureCount();
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(write(10));
    file->closeError = kDiskFull;
    bool done = false;
    sink->close(*queue, 30, kSecond, [&] { done = true; });
    EXPECT_FALSE(file->isClosed());
    runtime.settle();
    EXPECT_TRUE(done && file->isClosed());
    expectNumbered(30);
    EXPECT_EQ(bench.context.health->failureCount(), before + 1);
    EXPECT_EQ(bench.context.health->failures().back().atFrame, 30);
  }
  EXPECT_TRUE(bench.logged("AudioFileSink(BusRecorder): close failed: " + kDiskFull.description));
}

TEST_F(AudioFileSinkTest, WritingGoesOnWithoutTheSinksOwner) {
  make(true);
  hangFor(kSecond);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(write(10));
  sink.reset();
  runtime.advance(4 * kSecond);
  expectNumbered(30);
}

}  // namespace
}  // namespace sonmere
