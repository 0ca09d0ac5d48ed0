#include "recording/MicSideRecorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "RecordingBench.h"
#include "base/VirtualRuntime.h"
#include "simulated/Signals.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

struct MicSideRecorderTest : testing::Test {
  void record(double sourceRate, int channels) {
    auto made = MicSideRecorder::create(bench.context, {"Sonmere Mic", runtime.wallTime(), 48000, sourceRate,
                                                        channels, bench.defaultFolder()});
    ASSERT_TRUE(made) << made.error().description;
    recorder = *made;
    ring = recorder->ring();
    file = bench.files.back();
  }
  // The capture in blocks of changing size: a tone that knows the time, whatever the rate.
  void capture(double rate, double seconds) {
    for (auto left = std::int64_t(seconds * rate); left > 0;) {
      const std::int64_t frames = std::min<std::int64_t>(left, 1 + (blocks++ * 97) % 700);
      std::vector<float> block(std::size_t(2 * frames));
      for (std::int64_t i = 0; i < frames; ++i) {
        const auto sample = float(0.5 * std::sin(2 * std::numbers::pi * 1000 * (time + double(i) / rate)));
        block[std::size_t(2 * i)] = sample;
        block[std::size_t(2 * i + 1)] = -sample;
      }
      {
        const RealtimeScope scope;
        ring->noteRate(rate);
        ring->writeStereo(block.data(), frames);
      }
      time += double(frames) / rate;
      left -= frames;
      runtime.advance(fromSeconds(double(frames) / rate));
    }
  }
  std::vector<float> stop() {
    bool isDone = false;
    recorder->stop([&] { isDone = true; });
    runtime.advance(std::chrono::seconds(1));
    EXPECT_TRUE(isDone);
    EXPECT_TRUE(file->isClosed());
    return file->samples();
  }

  VirtualRuntime runtime{3};
  RecordingBench bench{runtime};
  std::shared_ptr<MicSideRecorder> recorder;
  std::shared_ptr<RecorderRing> ring;
  std::shared_ptr<MemoryFile> file;
  double time = 0;
  std::int64_t blocks = 0;
};

TEST_F(MicSideRecorderTest, WhatIsOfTheFilesRateIsInItBitForBit) {
  record(48000, 1);
  capture(48000, 1);
  const auto mono = stop();
  ASSERT_EQ(file->settings.channels, 1u);
  ASSERT_NEAR(double(mono.size()), 48000, 1);
  for (std::size_t i = 0; i < mono.size(); ++i)
    ASSERT_NEAR(mono[i], 0.5 * std::sin(2 * std::numbers::pi * 1000 * double(i) / 48000), 1e-6) << i;
  EXPECT_EQ(recorder->bytesWritten(), 2 * recorder->framesWritten()) << "16 bits of one channel";

  time = 0;
  record(0, 2);  // an unknown rate is the file's
  capture(48000, 0.5);
  const auto stereo = stop();
  ASSERT_EQ(file->settings.channels, 2u);
  for (std::size_t i = 0; i + 1 < stereo.size(); i += 2) ASSERT_EQ(stereo[i], -stereo[i + 1]);
}

// The rate of what comes first counts from the first sample on, and no block is lost at any change.
TEST_F(MicSideRecorderTest, TheRateMayChangeTwentyTimesAndThePitchStays) {
  record(44100, 2);
  const double rates[] = {44100, 96000, 48000, 32000, 44100, 48000, 88200};
  double expected = 0;
  std::vector<double> joins;
  for (int i = 0; i < 20; ++i) {
    capture(rates[i % 7], 0.5);
    expected = time * 48000;
    joins.push_back(expected);
  }
  const auto stereo = stop();
  const auto left = channelOf(stereo, 0, 2);
  EXPECT_NEAR(double(left.size()), expected, 20) << "at most a frame a join";
  EXPECT_EQ(recorder->lostFrames(), 0);
  for (std::size_t i = 0; i + 1 < joins.size(); ++i) {
    const std::vector<float> part(left.begin() + std::ptrdiff_t(joins[i]) + 2400,
                                  left.begin() + std::ptrdiff_t(joins[i + 1]) - 2400);
    EXPECT_LT(residueDb(part, 0, 1000, 48000), -80) << "part " << i + 1;
    const std::vector<float> join(left.begin() + std::ptrdiff_t(joins[i]) - 480,
                                  left.begin() + std::ptrdiff_t(joins[i]) + 480);
    EXPECT_LT(residueDb(join, 0, 1000, 48000), -60) << "join " << i;
  }
}

TEST_F(MicSideRecorderTest, AFileThatCantBeMadeLeavesNothing) {
  bench.createError = kDiskFull;
  const auto made = MicSideRecorder::create(
      bench.context, {"Sonmere Mic", runtime.wallTime(), 48000, 48000, 1, bench.defaultFolder()});
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error(), kDiskFull);
}

}  // namespace
}  // namespace sonmere
