#include "recording/BusRecorder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <thread>

#include "RecordingBench.h"
#include "audio/file/AudioFileReader.h"
#include "base/AtomicFile.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr Duration kSecond = std::chrono::seconds(1);
constexpr std::int64_t kRingFrames = kRecorderRingSamples / 2;

// Left counts frames from 1, right is its negative: a torn, stale, lost or doubled frame shows.
void number(std::vector<float>& block, std::int64_t& frame) {
  for (std::size_t i = 0; i < block.size(); i += 2) {
    block[i] = float(++frame);
    block[i + 1] = -float(frame);
  }
}

// A render path in virtual time with blocks of changing size, at 48 kHz.
class Producer {
 public:
  Producer(Runtime& runtime, std::shared_ptr<RecorderRing> ring)
      : ring_(std::move(ring)),
        clock_(runtime.startCycles("render", runtime.uptime(), [this](Duration at) { return render(at); })) {}

  std::int64_t frames() const { return frames_; }

 private:
  Duration render(Duration at) {
    block_.resize(2 * (1 + random_() % 2048));
    number(block_, frames_);
    const RealtimeScope scope;
    ring_->write(block_.data(), std::int64_t(block_.size()));
    return at + Duration(std::int64_t(block_.size() / 2) * 1'000'000'000 / 48000);
  }

  std::shared_ptr<RecorderRing> ring_;
  std::minstd_rand random_{5};
  std::vector<float> block_;
  std::int64_t frames_ = 0;
  std::unique_ptr<CycleClock> clock_;
};

class BusRecorderTest : public testing::Test {
 protected:
  void record(bool isQueued = false) {
    const std::string folder = isQueued ? bench.otherFolder() : bench.defaultFolder();
    const auto made =
        BusRecorder::create(bench.context, {2, RecordingFormat::wav, 48000, "Sonmere Track 1", folder});
    ASSERT_TRUE(made) << made.error().description;
    recorder = *made;
    file = bench.files.back();
  }
  void stop() {
    recorder->stop([this] { stoppedAt = runtime.uptime(); });
  }
  void write(std::int64_t frames, float value) {
    const std::vector<float> block(std::size_t(2 * frames), value);
    recorder->ring()->write(block.data(), 2 * frames);
  }
  void expectNumbered(std::int64_t frames) {
    const auto samples = file->samples();
    ASSERT_EQ(std::int64_t(samples.size()), 2 * frames);
    for (std::int64_t i = 0; i < frames; ++i) {
      ASSERT_EQ(samples[std::size_t(2 * i)], float(i + 1));
      ASSERT_EQ(samples[std::size_t(2 * i + 1)], -float(i + 1));
    }
  }

  VirtualRuntime runtime{11};
  RecordingBench bench{runtime};
  std::shared_ptr<BusRecorder> recorder;
  std::shared_ptr<MemoryFile> file;
  std::optional<Duration> stoppedAt;
};

TEST_F(BusRecorderTest, EveryFrameReachesTheFileInBothModes) {
  const RealtimeGuard guard;
  for (const bool isQueued : {false, true}) {
    record(isQueued);
    stoppedAt.reset();
    auto producer = std::make_unique<Producer>(runtime, recorder->ring());
    runtime.advance(20 * kSecond);
    const std::int64_t frames = producer->frames();
    producer.reset();
    stop();
    runtime.advance(kSecond);
    ASSERT_TRUE(stoppedAt);
    EXPECT_TRUE(file->isClosed());
    expectNumbered(frames);
    EXPECT_EQ(recorder->framesWritten(), frames);
    EXPECT_EQ(recorder->bytesWritten(), 4 * frames);
    EXPECT_EQ(recorder->lostFrames(), 0);
  }
  EXPECT_EQ(bench.lines, std::vector<std::string>{}) << "nothing to complain about";
  EXPECT_REALTIME_SAFE(guard);
}

TEST_F(BusRecorderTest, OvertakenFramesAreCountedAndToldOnce) {
  record();
  write(2 * kRingFrames + 100, 0.5f);  // nobody could have read in between
  runtime.advance(kSecond);
  stop();
  runtime.advance(kSecond);
  EXPECT_EQ(recorder->lostFrames(), 2 * kRingFrames) << "always whole rings";
  EXPECT_EQ(file->frames(), 100);
  EXPECT_EQ(bench.lines, std::vector<std::string>{
                             "BusRecorder: 192000 frames were overwritten before they reached the file"});
}

TEST_F(BusRecorderTest, FramesThatTheServerLeftOutAreCountedBetweenWritesOnly) {
  record();
  recorder->ring()->noteMissed(5000);  // before the first: the recording had not begun
  write(1000, 0.5f);
  recorder->ring()->noteMissed(480);
  write(1000, 0.5f);
  runtime.advance(kSecond);
  EXPECT_EQ(recorder->lostFrames(), 480);
  EXPECT_EQ(recorder->framesWritten(), 2000) << "nothing is put in their place";
  stop();
  runtime.advance(kSecond);
  EXPECT_TRUE(bench.logged("BusRecorder: the audio server left out cycles with 480 frames"));
}

TEST_F(BusRecorderTest, WritesThatTakeSecondsLoseNothing) {
  const RealtimeGuard guard;
  for (const bool isQueued : {false, true}) {
    SCOPED_TRACE(isQueued);
    record(isQueued);
    stoppedAt.reset();
    file->beforeWrite = [&](int n) {
      if (n % 100 == 10) runtime.blockFor(6 * kSecond);
    };
    auto producer = std::make_unique<Producer>(runtime, recorder->ring());
    const Duration start = runtime.uptime();
    std::int64_t frames = 0;
    bench.at(start + 20 * kSecond, [&] {
      frames = producer->frames();
      producer.reset();
      stop();
    });
    runtime.advance(100 * kSecond);
    ASSERT_TRUE(stoppedAt);
    EXPECT_GT(frames, 900000);
    expectNumbered(frames);
    EXPECT_EQ(recorder->lostFrames(), 0);
    EXPECT_TRUE(file->isClosed());
  }
  EXPECT_REALTIME_SAFE(guard);
}

TEST_F(BusRecorderTest, ADriveThatNeverComesBackIsReportedOnceHalfAMinuteIsWaiting) {
  record();
  file->beforeWrite = [&](int n) {
    if (n == 10) runtime.blockFor(100 * kSecond);
  };
  const Producer producer(runtime, recorder->ring());
  bench.at(29 * kSecond, [&] { EXPECT_EQ(bench.context.health->failureCount(), 0); });
  bench.at(60 * kSecond, [&] {
    const auto failures = bench.context.health->failures();
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_TRUE(failures[0].error.ends_with("The recording drive did not keep up; audio was dropped."));
  });
  runtime.advance(60 * kSecond);
}

TEST_F(BusRecorderTest, StopOfAHungDirectWriteGivesUpAfterFiveSecondsAndTheFileIsFinishedLater) {
  record();
  file->beforeWrite = [&](int n) {
    if (n == 1) runtime.blockFor(60 * kSecond);
  };
  write(10000, 0.5f);
  bench.at(kSecond, [this] { stop(); });
  bench.at(7 * kSecond, [this] {
    EXPECT_EQ(stoppedAt, 6 * kSecond);
    EXPECT_FALSE(file->isClosed());
    recorder.reset();
  });
  runtime.advance(70 * kSecond);
  EXPECT_TRUE(
      bench.logged("BusRecorder: stopped with 10000 frames that did not reach the file in time; writing "
                   "continues in the background"));
  EXPECT_EQ(file->frames(), 10000);
  EXPECT_TRUE(file->isClosed());
}

TEST_F(BusRecorderTest, StopOfAHungQueueGivesUpAfterTheFlushAndTheFileIsFinishedLater) {
  record(true);
  file->beforeWrite = [&](int n) {
    if (n == 1) runtime.blockFor(60 * kSecond);
  };
  auto producer = std::make_unique<Producer>(runtime, recorder->ring());
  std::int64_t frames = 0;
  bench.at(10 * kSecond, [&] {
    frames = producer->frames();
    producer.reset();
    stop();
  });
  bench.at(30 * kSecond, [&] {
    ASSERT_TRUE(stoppedAt);
    EXPECT_GE(*stoppedAt, 25 * kSecond);
    EXPECT_LE(*stoppedAt, 25 * kSecond + fromMilliseconds(50));
    EXPECT_EQ(file->frames(), 0);
    recorder.reset();
  });
  runtime.advance(70 * kSecond);
  EXPECT_GT(frames, 400000);
  expectNumbered(frames);
  EXPECT_TRUE(file->isClosed());
}

TEST_F(BusRecorderTest, ABlockUnderWayWhenTheStopBeginsReachesTheFile) {
  record();
  write(1000, 0.5f);
  runtime.advance(kSecond);
  ASSERT_EQ(file->frames(), 1000) << "the ring is empty";
  stop();
  runtime.advance(fromMilliseconds(30));
  write(512, 0.25f);
  runtime.advance(kSecond);
  ASSERT_TRUE(stoppedAt);
  EXPECT_EQ(file->frames(), 1512);
  EXPECT_TRUE(file->isClosed());
}

TEST_F(BusRecorderTest, WriteFailureEndsTheDrainAndTheStopDoesNotWaitForIt) {
  for (const bool isQueued : {false, true}) {
    SCOPED_TRACE(isQueued);
    record(isQueued);
    stoppedAt.reset();
    const auto failuresBefore = bench.context.health->failures().size();
    const Duration start = runtime.uptime();
    write(1000, 0.5f);
    runtime.advance(kSecond);
    file->beforeWrite = [&](int) { file->nextError = kDriveGone; };
    for (int i = 0; i < 3; ++i) {
      write(1000, 0.5f);
      runtime.advance(kSecond);
    }
    EXPECT_EQ(file->frames(), 1000);
    EXPECT_TRUE(bench.logged("BusRecorder: write failed: write: Input/output error"));
    const auto failures = bench.context.health->failures();
    // A queued sink reports what it met, and the recorder that its write was refused.
    ASSERT_EQ(failures.size() - failuresBefore, isQueued ? 2u : 1u);
    EXPECT_EQ(failures[failuresBefore].atFrame, 1000);
    EXPECT_EQ(failures[failuresBefore].writer, "BusRecorder");
    stop();
    runtime.advance(fromMilliseconds(50));
    EXPECT_EQ(stoppedAt, start + 4 * kSecond);
    EXPECT_TRUE(file->isClosed());
  }
}

TEST_F(BusRecorderTest, SignalLatchesAboveAMillionth) {
  record();
  write(5000, 0.0f);
  write(100, -0.000001f);
  runtime.advance(kSecond);
  EXPECT_FALSE(recorder->everHadSignal());
  EXPECT_EQ(recorder->framesWritten(), 5100);
  write(1, -0.0000011f);
  runtime.advance(kSecond);
  EXPECT_TRUE(recorder->everHadSignal());
  write(1, 0.0f);
  runtime.advance(kSecond);
  EXPECT_TRUE(recorder->everHadSignal());
  EXPECT_EQ(recorder->lastPeak(), 0.0f);
  EXPECT_EQ(blockPeak(PCMBuffer({48000, 2}, 16)), 1.0f) << "unknown counts as signal";
}

TEST_F(BusRecorderTest, ChangedBitDepthChangesTheCountAlone) {
  bench.settings.set(kRecordingBitDepthKey, "int24");
  record();
  EXPECT_EQ(file->settings.bitDepth, 24);
  write(10, 0.5f);
  runtime.advance(kSecond);
  EXPECT_EQ(recorder->bytesWritten(), 60);
  recorder->setCountedBitDepth(RecordingBitDepth::float32);
  write(10, 0.5f);
  runtime.advance(kSecond);
  EXPECT_EQ(recorder->bytesWritten(), 140);
}

TEST_F(BusRecorderTest, RecorderThatIsLetGoOfWritesNoMore) {
  record();
  const auto ring = recorder->ring();
  const std::vector<float> block(200, 0.5f);
  recorder.reset();
  ring->write(block.data(), 200);
  runtime.advance(kSecond);
  EXPECT_EQ(file->writes, 0);
  EXPECT_EQ(file.use_count(), 2) << "held by the tests alone";
}

TEST_F(BusRecorderTest, RealFilesAreCompleteAndRefusalsLeaveNothing) {
  bench.context.createFile = createAudioFile;
  std::filesystem::create_directories(bench.defaultFolder());
  BusRecorder::Request request{0, RecordingFormat::wav, 44100, "Sonmere Recording", bench.defaultFolder()};
  recorder = BusRecorder::create(bench.context, request).value();
  stop();
  runtime.advance(kSecond);
  ASSERT_TRUE(stoppedAt);
  const std::string empty = readWholeFile(recorder->outputPath()).value();
  EXPECT_TRUE(empty.starts_with("RIFF") && empty.ends_with(std::string("data\0\0\0\0", 8)));
  recorder = BusRecorder::create(bench.context, request).value();
  write(1000, 0.5f);
  stop();
  runtime.advance(kSecond);
  const auto reader = openAudioFile(recorder->outputPath());
  ASSERT_TRUE(reader) << reader.error().description;
  EXPECT_EQ((*reader)->frameCount(), 1000);
  EXPECT_EQ((*reader)->format(), (PCMFormat{44100, 2}));

  const auto entries = [&] {
    return std::distance(std::filesystem::directory_iterator(bench.defaultFolder()), {});
  };
  request.format = RecordingFormat::m4a;
  stoppedAt.reset();
  recorder = BusRecorder::create(bench.context, request).value();
  EXPECT_TRUE(recorder->outputPath().ends_with(".m4a"));
  write(5000, 0.5f);
  stop();
  runtime.advance(kSecond);
  ASSERT_TRUE(stoppedAt);
  const auto encoded = openAudioFile(recorder->outputPath());
  ASSERT_TRUE(encoded) << encoded.error().description;
  EXPECT_EQ((*encoded)->frameCount(), 5000);
  EXPECT_EQ((*encoded)->container(), "m4a");

  request.sampleRate = 192000;
  const auto refused = BusRecorder::create(bench.context, request);
  ASSERT_FALSE(refused);
  EXPECT_TRUE(
      refused.error().description.ends_with("AAC has no sample rate of 192000 Hz; choose WAV instead"));
  request = {0, RecordingFormat::wav, 44100, "Sonmere Recording", "/proc/nowhere"};
  EXPECT_FALSE(BusRecorder::create(bench.context, request));
  EXPECT_EQ(entries(), 3);
}

// Real threads: a producer that keeps just within the ring, so that each part of it is written right behind
// the drain.
class LiveBusRecorder : public testing::TestWithParam<bool> {};

TEST_P(LiveBusRecorder, FramesCrossThreadsWhole) {
  constexpr std::int64_t kFrames = 10 * kRingFrames;
  LiveRuntime runtime;
  RecordingBench bench(runtime);
  const auto recorder =
      BusRecorder::create(bench.context, {0, RecordingFormat::wav, 48000, "Sonmere Recording",
                                          GetParam() ? bench.otherFolder() : bench.defaultFolder()})
          .value();
  std::thread producer([&, ring = recorder->ring()] {
    std::minstd_rand random(9);
    std::vector<float> block;
    for (std::int64_t frame = 0; frame < kFrames;) {
      block.resize(2 * std::size_t(std::min<std::int64_t>(1 + random() % 1024, kFrames - frame)));
      while (ringAvailable<kRecorderRingSamples>(ring->writePos.loadAcquire(), ring->readPos.loadAcquire()) +
                 std::int64_t(block.size()) >=
             kRecorderRingSamples)
        std::this_thread::yield();
      number(block, frame);
      ring->write(block.data(), std::int64_t(block.size()));
    }
    runtime.mainQueue().post([&] { recorder->stop([&] { runtime.stop(); }); });
  });
  runtime.run();
  producer.join();
  EXPECT_EQ(recorder->lostFrames(), 0);
  EXPECT_TRUE(bench.files[0]->isClosed());
  const auto samples = bench.files[0]->samples();
  ASSERT_EQ(std::int64_t(samples.size()), 2 * kFrames);
  for (std::int64_t i = 0; i < kFrames; ++i) {
    ASSERT_EQ(samples[std::size_t(2 * i)], float(i + 1));
    ASSERT_EQ(samples[std::size_t(2 * i + 1)], -float(i + 1));
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, LiveBusRecorder, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Queued" : "Direct"; });

}  // namespace
}  // namespace sonmere
