// What the recorders ask of an engine that captures a device, the same of every platform.

#include <mutex>

#include "Boundary.h"

namespace sonmere {

namespace {

// The blocks that an engine has handed on. Its worker writes.
class Blocks {
 public:
  CaptureEngine::TapBlock writer() {
    return [this](const CapturedBlock& block) {
      const std::lock_guard lock(mutex_);
      format_ = block.format;
      frames_ += block.frames;
      longest_ = std::max(longest_, block.frames);
      last_ = block.frames > 0 ? block.samples[0] : last_;
    };
  }
  bool hear(float value) const {
    const std::lock_guard lock(mutex_);
    return std::abs(last_ - value) < 1e-3f;
  }
  AudioStreamFormat format() const { return (std::lock_guard(mutex_), format_); }
  std::int64_t frames() const { return (std::lock_guard(mutex_), frames_); }
  std::uint32_t longest() const { return (std::lock_guard(mutex_), longest_); }

 private:
  mutable std::mutex mutex_;
  AudioStreamFormat format_;
  std::int64_t frames_ = 0;
  std::uint32_t longest_ = 0;
  float last_ = 0;
};

}  // namespace

struct BoundaryCapture : Boundary {
  void SetUp() override {
    Boundary::SetUp();
    ASSERT_TRUE(machine->until([&] { return (track = machine->device(kTrack + "5")) != 0; }));
    ASSERT_TRUE(machine->untilPlaying(kPlayer, kTrack + "5"));
    ASSERT_EQ(engine->setCurrentDevice(track), noErr);
    observation = engine->observeConfigurationChange(machine->runtime().mainQueue(), [this] { ++changes; });
  }
  OSStatus begin() {
    const OSStatus installed = engine->installTap(1024, engine->inputFormat(), blocks.writer());
    return installed == noErr ? engine->start() : installed;
  }

  Blocks blocks;
  int changes = 0;
  AudioDeviceID track = kAudioObjectUnknown;
  std::unique_ptr<CaptureEngine> engine = machine->platform().newCaptureEngine();
  Subscription observation;
};

TEST_P(BoundaryCapture, HandsOnBlocksWhileItRunsAndHasATap) {
  ASSERT_EQ(engine->inputFormat(), (AudioStreamFormat{48000, 2}));
  ASSERT_EQ(begin(), noErr);
  EXPECT_TRUE(engine->isRunning());
  ASSERT_TRUE(machine->until([&] { return blocks.hear(0.5f); }));
  EXPECT_EQ(blocks.format(), (AudioStreamFormat{48000, 2}));
  EXPECT_LE(blocks.longest(), 1024u);
  EXPECT_EQ(engine->installTap(1024, engine->inputFormat(), blocks.writer()),
            kAudioHardwareIllegalOperationError)
      << "it has one";
  engine->removeTap();
  const std::int64_t frames = blocks.frames();
  (void)machine->until([turns = 0]() mutable { return ++turns > 20; });
  EXPECT_EQ(blocks.frames(), frames);
  ASSERT_EQ(engine->installTap(256, engine->inputFormat(), blocks.writer()), noErr);
  EXPECT_TRUE(machine->until([&] { return blocks.frames() > frames + 4800; })) << "it ran on";
  engine->stop();
  EXPECT_FALSE(engine->isRunning());
  EXPECT_EQ(engine->start(), noErr) << "its tap stays";
  EXPECT_TRUE(machine->until([&, now = blocks.frames()] { return blocks.frames() > now + 4800; }));
  EXPECT_EQ(changes, 0);
}

// It has stopped by then, and begins again in the new format.
TEST_P(BoundaryCapture, TellsAnotherRateOnceAndHasStopped) {
  ASSERT_EQ(begin(), noErr);
  ASSERT_TRUE(machine->until([&] { return blocks.hear(0.5f); }));
  ASSERT_EQ(hardware.setNominalSampleRate(track, 44100), noErr);
  ASSERT_TRUE(machine->until([&] { return changes > 0; }));
  EXPECT_FALSE(engine->isRunning());
  EXPECT_EQ(engine->inputFormat(), (AudioStreamFormat{44100, 2}));
  EXPECT_EQ(engine->start(), kAudioDeviceUnsupportedFormatError) << "its tap is of the old format";
  engine->removeTap();
  const std::int64_t frames = blocks.frames();
  ASSERT_EQ(begin(), noErr);
  EXPECT_TRUE(machine->until([&] { return blocks.frames() > frames + 4410; }));
  EXPECT_EQ(blocks.format(), (AudioStreamFormat{44100, 2}));
  EXPECT_EQ(changes, 1);
}

TEST_P(BoundaryCapture, TellsThatItsDeviceHasGone) {
  ASSERT_EQ(begin(), noErr);
  ASSERT_TRUE(machine->until([&] { return blocks.hear(0.5f); }));
  machine->remove(kTrack + "5");
  ASSERT_TRUE(machine->until([&] { return changes > 0; }));
  EXPECT_FALSE(engine->isRunning());
  EXPECT_EQ(engine->inputFormat().channels, 0u);
  EXPECT_NE(engine->start(), noErr);
  EXPECT_EQ(changes, 1);
}

TEST_P(BoundaryCapture, RefusesWhatItCannotDo) {
  EXPECT_EQ(engine->setCurrentDevice(987654), kAudioHardwareBadDeviceError);
  EXPECT_EQ(engine->setCurrentDevice(machine->device(machine->speakerUID())),
            kAudioUnitErrInvalidPropertyValue)
      << "it has no input side";
  EXPECT_EQ(engine->currentDevice(), track);
  EXPECT_EQ(engine->installTap(0, engine->inputFormat(), blocks.writer()),
            kAudioHardwareIllegalOperationError);
  EXPECT_EQ(engine->installTap(1024, {44100, 2}, blocks.writer()), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(engine->installTap(1024, {48000, 1}, blocks.writer()), kAudioDeviceUnsupportedFormatError);
  ASSERT_EQ(begin(), noErr);
  EXPECT_EQ(engine->setCurrentDevice(machine->device(kTrack + "6")), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(engine->start(), noErr) << "it runs already";
}

INSTANTIATE_TEST_SUITE_P(Simulated, BoundaryCapture, testing::Values(newSimulatedMachine));
INSTANTIATE_TEST_SUITE_P(PipeWire, BoundaryCapture, testing::Values(newPipeWireMachine));

}  // namespace sonmere
