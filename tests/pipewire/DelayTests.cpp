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

// Frames from an impulse on the app's own stream to the same on the input side of its Track, both looked at
// in the same cycles: the largest of several. Below 0: could not be measured.
std::int64_t delayOf(PipeWireWorld& world) {
  Impulses played, arrived;
  AudioHardware& hardware = world.hardware();
  TapAggregatePlan plan;
  plan.tap.name = "Listener";
  plan.tap.processes = world.engine->row("pw-play")->audioObjectIDs;
  plan.aggregateUID = "listener";
  plan.procedure = tapped;
  plan.clientData = &played;
  auto listener = buildTapAggregate(hardware, world.runtime, plan);
  if (!listener) return -1;
  const AudioDeviceID track = world.device("ToneFerry_UID_Track_1");
  const auto input = hardware.createIOProc(track, tapped, &arrived);
  if (!input || hardware.startDevice(track, *input) != noErr) return -1;
  const bool isHeard = world.until([&] { return arrived.count.load() >= 6 && played.count.load() >= 6; });
  hardware.stopDevice(track, *input);
  hardware.destroyIOProc(track, *input);
  destroyTapAggregate(hardware, *listener);
  if (!isHeard) return -1;

  const auto frames = [](const Impulses::Place& place) {
    return std::int64_t(std::llround(double(place.cycle) * 48e-6)) + place.frame;
  };
  std::int64_t largest = -1;
  for (std::size_t i = 2; i < arrived.count; ++i) {
    // An impulse comes every 12000 frames: the last one played before is the one that arrived.
    std::int64_t delay = -1;
    for (std::size_t k = 0; k < played.count; ++k) {
      const std::int64_t distance = frames(arrived.places[i]) - frames(played.places[k]);
      if (distance >= -2 && distance < 11000) delay = std::max(distance, std::int64_t(0));
    }
    largest = std::max(largest, delay);
  }
  return largest;
}

}  // namespace

struct TapDelay : testing::TestWithParam<int> {};

TEST_P(TapDelay, IsAtMostOneQuantum) {
  const auto quantum = std::uint32_t(GetParam());
  PipeWireWorld world(GetParam());
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  KnownSignal impulses(60);
  for (std::size_t i = 0; i < impulses.samples.size(); ++i) impulses.samples[i] = i % 24000 < 2 ? 0.5f : 0.0f;
  impulses.write(world.session.file("impulses.wav"));
  auto program = world.session.launch({"pw-play", world.session.file("impulses.wav")});

  // A cycle that the machine misses delays all that comes after it until the app is routed anew; then the
  // measurement is made again.
  std::int64_t delay = 0;
  for (int attempt = 0; attempt < 8; ++attempt) {
    ASSERT_TRUE(world.route("pw-play", 2));
    delay = delayOf(world);
    if (delay <= std::int64_t(quantum) + 2) break;
    world.engine->setRouted("pw-play", false);
  }
  RecordProperty("delayFrames", int(delay));
  EXPECT_GE(delay, 0);
  EXPECT_LE(delay, std::int64_t(quantum) + 2) << "quantum " << quantum;
}

INSTANTIATE_TEST_SUITE_P(Quanta, TapDelay, testing::Values(128, 256, 1024));

}  // namespace sonmere
