// A microphone and a bridge whose clocks are not one.
#include <gtest/gtest.h>

#include "InputWorld.h"
#include "audio/device/CoreAudioUtils.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr double kToneHz = 440, kToneGain = 0.5;

// Hears whether a tone on the bridge goes on without a break: its second difference can't be above that of
// the tone itself.
struct ClickEar {
  static OSStatus hear(void* refcon, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    ClickEar& ear = *static_cast<ClickEar*>(refcon);
    for (std::uint32_t i = 0; i + 1 < input[0].byteSize / 4; i += input[0].channels)
      ear.take(double(input[0].data[i]));
    return noErr;
  }
  void take(double sample) noexcept {
    const double bend = std::abs(sample - 2 * before[0] + before[1]);
    if (isListening) worst = std::max(worst, bend);
    if (isListening) peak = std::max(peak, std::abs(sample));
    before[1] = before[0];
    before[0] = sample;
    ++frames;
  }
  static double mostOf(double rate) {
    const double step = 2 * M_PI * kToneHz / rate;
    return 1.02 * kToneGain * step * step;
  }
  double before[2] = {0, 0};
  double worst = 0, peak = 0;
  std::int64_t frames = 0;
  bool isListening = false;
};

struct ClockWorld : InputWorld {
  ClockWorld(double ppm, std::uint32_t quantum) {
    auto device = interface([] { return SampleSources::tone(kToneHz, float(kToneGain)); });
    device.inputChannels = 2;
    device.clockErrorPpm = ppm;
    device.bufferFrames = quantum;
    host().plug(device);
    bridge = *CoreAudioUtils::deviceForUID(platform.hardware(), kBridgeUID);
    EXPECT_EQ(platform.hardware().setBufferFrameSize(bridge, quantum), noErr);
    launch();
    EXPECT_TRUE(engine->select(kInterfaceUID));
  }
  // The tone runs, and the ear hears it from now on.
  void start() {
    engine->setEnabled(true);
    wait(1);
    const auto made = platform.hardware().createIOProc(bridge, &ClickEar::hear, &ear);
    ASSERT_TRUE(made);
    ASSERT_EQ(platform.hardware().startDevice(bridge, *made), noErr);
    wait(0.5);
    ear.isListening = true;
  }
  const MicCounters& counters() const { return engine->renderState().counters; }

  AudioDeviceID bridge = kAudioObjectUnknown;
  ClickEar ear;
};

struct Drift {
  double ppm;
  double minutes;
  std::uint32_t quantum;
};

class MicClockTest : public testing::TestWithParam<Drift> {};

// Uncorrected the two lose 17,280 frames in half an hour: twice what the ring holds.
TEST_P(MicClockTest, ClocksThatDriftApartAreNeverHeard) {
  const auto [ppm, minutes, quantum] = GetParam();
  ClockWorld world(ppm, quantum);
  world.start();
  const RealtimeGuard guard;
  for (double minute = 0; minute < minutes; ++minute) {
    world.wait(60);
    const double behind = double(world.counters().backlogBytes) / 8;
    ASSERT_LT(behind, 1.2 * quantum) << "after " << minute << " minutes";
  }
  EXPECT_REALTIME_SAFE(guard);
  EXPECT_EQ(world.counters().underruns + world.counters().starves, 0);
  EXPECT_EQ(world.counters().overflows, 0);
  EXPECT_GT(double(world.ear.frames), minutes * 60 * 47900);
  EXPECT_LT(world.ear.worst, ClickEar::mostOf(48000)) << "a click";
  EXPECT_NEAR(world.ear.peak, kToneGain, 0.01);
  EXPECT_NEAR(world.counters().driftPpm, ppm, 2);
}

#ifdef SONMERE_SANITIZED
constexpr double kLong = 3;
#else
constexpr double kLong = 30;
#endif
INSTANTIATE_TEST_SUITE_P(Clocks, MicClockTest,
                         testing::Values(Drift{-200, kLong, 2048}, Drift{200, kLong / 3, 2048},
                                         Drift{-200, 1, 512}, Drift{200, 1, 256}, Drift{8, 2, 512}));

// Wherever the two cycles lie to one another at the start, a slower microphone leaves no gap.
TEST(MicClock, NoStartIsTooEarly) {
  for (int phase = 0; phase < 16; ++phase) {
    ClockWorld world(-200, 512);
    const auto reader = world.host().readInput(InputWorld::kBridgeUID);  // the bridge's clock runs
    world.wait(0.1 + phase * 512 / 48000.0 / 16);
    world.start();
    world.wait(12);
    EXPECT_EQ(world.counters().underruns + world.counters().starves, 0) << phase;
    EXPECT_LT(world.ear.worst, ClickEar::mostOf(48000)) << phase;
  }
}

}  // namespace
}  // namespace sonmere
