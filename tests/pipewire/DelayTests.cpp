// How much later a routed app is heard in its Track than it played.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

#include "PipeWireWorld.h"

namespace sonmere {

namespace {

// Where loud samples stood on the server's clock: cycle's start and frame within it. Audio thread writes.
struct Impulses {
  struct Place {
    std::uint64_t cycle = 0;  // ns
    std::uint32_t frame = 0;
  };
  std::array<Place, 256> places;
  std::atomic<std::size_t> count{0};

  void look(const AudioTimeStamp& now, const float* samples, std::uint32_t frames) noexcept {
    for (std::uint32_t i = 0; i < frames; ++i) {
      const std::size_t n = count.load(std::memory_order_relaxed);
      if (std::abs(samples[2 * i]) < 0.4f || n == places.size()) continue;
      places[n] = {now.hostTime, i};
      count.store(n + 1, std::memory_order_release);
    }
  }
};

OSStatus tapped(void* refcon, const AudioTimeStamp& now, AudioBufferList input, AudioBufferList) noexcept {
  if (!input.empty()) static_cast<Impulses*>(refcon)->look(now, input[0].data, input[0].byteSize / 8);
  return noErr;
}

}  // namespace

struct TapDelay : testing::TestWithParam<int> {};

// Both ends are looked at in the same cycles: on the app's own stream, and on the input side of its Track.
TEST_P(TapDelay, IsAtMostOneQuantum) {
  const auto quantum = std::uint32_t(GetParam());
  PipeWireWorld world(GetParam());
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal impulses(60);
  for (std::size_t i = 0; i < impulses.samples.size(); ++i) impulses.samples[i] = i % 24000 < 2 ? 0.5f : 0.0f;
  impulses.write(world.session.file("impulses.wav"));
  auto program = world.session.launch({"pw-play", world.session.file("impulses.wav")});
  ASSERT_TRUE(world.route("pw-play", 2));

  Impulses played, arrived;
  AudioHardware& hardware = world.hardware();
  TapDescription description;
  description.name = "Listener";
  description.processes = world.engine->row("pw-play")->audioObjectIDs;
  TapAggregatePlan plan;
  plan.tap = description;
  plan.aggregateUID = "listener";
  plan.procedure = tapped;
  plan.clientData = &played;
  auto listener = buildTapAggregate(hardware, world.runtime, plan);
  ASSERT_TRUE(listener.has_value());
  const AudioDeviceID track = world.device("ToneFerry_UID_Track_1");
  const auto input = hardware.createIOProc(track, tapped, &arrived);
  ASSERT_TRUE(input.has_value());
  ASSERT_EQ(hardware.startDevice(track, *input), noErr);

  ASSERT_TRUE(world.until([&] { return arrived.count.load() >= 6 && played.count.load() >= 6; }));
  ASSERT_EQ(hardware.stopDevice(track, *input), noErr);
  hardware.destroyIOProc(track, *input);
  destroyTapAggregate(hardware, *listener);

  const auto frames = [](const Impulses::Place& place) {
    return std::int64_t(std::llround(double(place.cycle) * 48e-6)) + place.frame;
  };
  int compared = 0;
  for (std::size_t i = 2; i < arrived.count; ++i) {
    // An impulse comes every 12000 frames: the last one played before is the one that arrived.
    std::int64_t delay = -1;
    for (std::size_t k = 0; k < played.count; ++k) {
      const std::int64_t distance = frames(arrived.places[i]) - frames(played.places[k]);
      if (distance >= -2 && distance < 11000) delay = distance;
    }
    if (delay < 0 && i + 1 >= arrived.count) continue;
    ++compared;
    EXPECT_LE(delay, std::int64_t(quantum) + 2) << "quantum " << quantum;
    EXPECT_GE(delay, 0);
    RecordProperty("delayFrames", int(delay));
  }
  EXPECT_GE(compared, 2);
}

INSTANTIATE_TEST_SUITE_P(Quanta, TapDelay, testing::Values(128, 256, 1024));

}  // namespace sonmere
