#include "EditorWorld.h"
#include "audio/playback/PlaybackEngine.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

// Stereo whose left side counts frames from 1 and whose right side has a level of its own, from a disk that
// may be slow.
class CountingReader final : public AudioFileReader {
 public:
  struct Plan {
    std::int64_t from = 0, until = 0;
    float right = 0;
    std::function<void(std::int64_t frame)> beforeRead;  // worker
  };
  explicit CountingReader(Plan plan) : plan_(std::move(plan)), position_(plan_.from) {}

  const PCMFormat& format() const override { return format_; }
  std::int64_t frameCount() const override { return -1; }
  const std::string& container() const override { return container_; }
  Outcome<void> seek(std::int64_t) override { return {}; }
  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    if (plan_.beforeRead) plan_.beforeRead(position_);
    const auto count = std::uint32_t(std::min<std::int64_t>(frames, plan_.until - position_));
    for (std::uint32_t i = 0; i < count; ++i) {
      interleaved[2 * i] = float(position_ + i + 1);
      interleaved[2 * i + 1] = plan_.right;
    }
    position_ += count;
    return count;
  }

 private:
  const Plan plan_;
  std::int64_t position_;
  const PCMFormat format_{48000, 2};
  const std::string container_ = "counting";
};

struct Playback : testing::Test, EditorWorld {
  PlaybackEngine::OpenSource counting(CountingReader::Plan plan, double openSeconds = 0) {
    return [this, plan, openSeconds](const PCMFormat&) -> Outcome<std::unique_ptr<AudioFileReader>> {
      if (openSeconds > 0) runtime.blockFor(fromSeconds(openSeconds));
      return std::make_unique<CountingReader>(plan);
    };
  }
  PlaybackEngine::Request request(std::vector<PlaybackEngine::OpenSource> tracks,
                                  std::optional<std::int64_t> from = {}) {
    return {std::move(tracks), from, nullptr, [this] { ++finished; }, nullptr};
  }

  std::shared_ptr<DeviceRecorder> ear = host().hear(SimulatedHost::kSpeakersUID);
  PlaybackEngine engine{context};
  int finished = 0;
};

TEST_F(Playback, WhatGoesOnTakesOverInStepHoweverLongItTookToOpen) {
  ASSERT_TRUE(engine.start());
  engine.play(request({counting({0, 96000, 1, nullptr})}));
  wait(0.5);
  const std::int64_t here = engine.playedFrames();
  EXPECT_GT(here, 20000);
  engine.play(request({counting({here, 96000, 2, nullptr}, 0.3)}, here));
  const RealtimeGuard guard;
  wait(3);
  EXPECT_REALTIME_SAFE(guard);
  const auto heard = sounding(ear->samples());
  ASSERT_EQ(heard.size(), 2u * 96000);
  std::int64_t taken = 0;
  for (std::int64_t frame = 0; frame < 96000; ++frame) {
    ASSERT_EQ(heard[std::size_t(2 * frame)], float(frame + 1));
    if (taken == 0 && heard[std::size_t(2 * frame + 1)] == 2) taken = frame;
    ASSERT_EQ(heard[std::size_t(2 * frame + 1)], taken == 0 ? 1 : 2);
  }
  EXPECT_NEAR(double(taken - here), 0.3 * 48000, 1024);
  EXPECT_EQ(finished, 1) << "the end of what was replaced is not told";
}

TEST_F(Playback, ATrackThatComesTooLateLosesFramesAndStaysInStepWithTheOthers) {
  ASSERT_TRUE(engine.start());
  const auto stall = [this, done = false](std::int64_t frame) mutable {
    if (frame >= 100000 && !std::exchange(done, true)) runtime.blockFor(fromSeconds(3));
  };
  engine.play(request({counting({0, 480000, 0, stall})}));
  wait(9);
  engine.stop();
  const auto heard = sounding(ear->samples());
  std::int64_t silent = 0;
  for (std::int64_t frame = 0; frame < std::int64_t(heard.size() / 2); ++frame) {
    const float sample = heard[std::size_t(2 * frame)];
    if (sample == 0)
      ++silent;
    else
      ASSERT_EQ(sample, float(frame + 1));
  }
  EXPECT_GT(silent, 48000);
  EXPECT_LT(silent, 3 * 48000);
  EXPECT_TRUE(logged("PlaybackEngine: " + std::to_string(silent) + " frames came too late"));
}

TEST_F(Playback, TracksBeginTogetherOnceTheSlowestIsReady) {
  ASSERT_TRUE(engine.start());
  engine.play(request({counting({0, 48000, 1, nullptr}), counting({0, 48000, 2, nullptr}, 0.4)}));
  wait(3);
  const auto heard = sounding(ear->samples());
  ASSERT_EQ(heard.size(), 2u * 48000);
  for (std::int64_t frame = 0; frame < 48000; ++frame) {
    ASSERT_EQ(heard[std::size_t(2 * frame)], float(2 * (frame + 1)));
    ASSERT_EQ(heard[std::size_t(2 * frame + 1)], 3);
  }
  EXPECT_EQ(finished, 1);
}

}  // namespace
}  // namespace sonmere
