#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "audio/engine/CaptureTap.h"
#include "dsp/Level.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

class CaptureTapTest : public testing::Test {
 protected:
  ~CaptureTapTest() override { EXPECT_REALTIME_SAFE(guard); }
  void call(std::vector<float> samples, double position = 0) {
    std::vector<float> output(8, 3.0f);
    AudioBuffer inputs[] = {{2, 0, nullptr}, {2, std::uint32_t(4 * samples.size()), samples.data()}};
    AudioBuffer outputs[] = {{2, 32, output.data()}};
    EXPECT_EQ(captureProcedure(&tap, {position, 42}, inputs, outputs), noErr);
    EXPECT_EQ(output, std::vector<float>(8, 0.0f));
  }

  RealtimeGuard guard;
  RenderFlags flags;
  CaptureTap tap{"app", {1}, &flags};
};

TEST_F(CaptureTapTest, MetersOnA60dBScaleAndFollowsTheVolumeWhenLinked) {
  call(std::vector<float>(512, 1.0f));
  EXPECT_FLOAT_EQ(tap.level, 1.0f);
  EXPECT_EQ(tap.levelStamp, 42u);
  EXPECT_EQ(tap.ring.available(), 512);
  tap.volume = 0.1f;
  call(std::vector<float>(512, 1.0f));
  EXPECT_NEAR(tap.level, 40.0 / 60, 1e-5);
  tap.levelFollowsVolume = false;
  call(std::vector<float>(512, 1.0f));
  EXPECT_FLOAT_EQ(tap.level, 1.0f);
  EXPECT_EQ(meterLevel(0), 0);
  tap.levelFollowsVolume = true;
  std::vector<float> broken(512, 1.0f);
  broken[7] = std::nanf("");
  call(broken);
  EXPECT_EQ(tap.level, 0) << "no number is no level";
  call(std::vector<float>(512, 1.0f));
  EXPECT_NEAR(tap.level, 40.0 / 60, 1e-5);
}

TEST_F(CaptureTapTest, AMutedTapWritesNothing) {
  tap.isMuted = true;
  call(std::vector<float>(512, 1.0f));
  EXPECT_EQ(tap.level, 0);
  EXPECT_EQ(tap.ring.available(), 0);
  EXPECT_EQ(tap.callbackCount, 1);
}

TEST_F(CaptureTapTest, AnEmptyListStillClearsTheOutput) {
  tap.level = 0.5f;
  call({});
  EXPECT_EQ(tap.level, 0.5f);
  EXPECT_EQ(captureProcedure(nullptr, {}, {}, {}), noErr);
}

TEST_F(CaptureTapTest, CountsWhatTheClockSkips) {
  const std::vector<float> block(512);  // 256 frames
  for (const double position : {700, 956, 1212}) call(block, position);
  EXPECT_EQ(tap.leftOutFrames(), 0) << "a clock may begin anywhere";
  call(block, 1212 + 3 * 256);
  EXPECT_EQ(tap.leftOutFrames(), 512);
  for (const double position : {0, 256}) call(block, position);
  EXPECT_EQ(tap.leftOutFrames(), 512) << "the clock was started anew";
  call({}, 512);
  call(block, 5000);
  EXPECT_EQ(tap.leftOutFrames(), 512) << "a cycle of unknown length";
  tap.noteInterruption(300);
  EXPECT_EQ(tap.leftOutFrames(), 512) << "cycles that both sides lack count once";
  tap.noteInterruption(300);
  EXPECT_EQ(tap.leftOutFrames(), 600);
}

TEST_F(CaptureTapTest, FeedsTheSpectrumOnlyWhileSomeoneLooks) {
  call({1, 3});
  EXPECT_EQ(tap.spectrum.writePos, 0);
  flags.spectrumVisible = true;
  flags.equaliserAvailable = true;
  call({1, 3, 5});
  EXPECT_EQ(tap.spectrum.writePos, 1);
  EXPECT_EQ(tap.spectrum.samples[0], 2);
  EXPECT_EQ(tap.ring.writer.written, 5);
}

}  // namespace
}  // namespace sonmere
