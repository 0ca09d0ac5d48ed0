// How much later a routed app is heard in its Track than it played.

#include <gtest/gtest.h>

#include "Impulses.h"
#include "PipeWireWorld.h"

namespace sonmere {

namespace {

// Frames from an impulse on the app's own stream to the same on the input side of its Track, both looked at
// in the same cycles: the largest of several. Below 0: could not be measured.
std::int64_t delayOf(PipeWireWorld& world) {
  Impulses played, arrived;
  AudioHardware& hardware = world.hardware();
  TapAggregatePlan plan;
  plan.tap.name = "Listener";
  plan.tap.processes = world.engine->row("pw-play")->audioObjectIDs;
  plan.aggregateUID = "listener";
  plan.procedure = Impulses::hear;
  plan.clientData = &played;
  auto listener = buildTapAggregate(hardware, world.runtime, plan);
  if (!listener) return -1;
  const AudioDeviceID track = world.device("ToneFerry_UID_Track_1");
  const auto input = hardware.createIOProc(track, Impulses::hear, &arrived);
  if (!input || hardware.startDevice(track, *input) != noErr) return -1;
  const bool isHeard = world.until([&] { return arrived.count.load() >= 6 && played.count.load() >= 6; });
  hardware.stopDevice(track, *input);
  hardware.destroyIOProc(track, *input);
  destroyTapAggregate(hardware, *listener);
  if (!isHeard) return -1;

  return largestDelay(played, arrived);
}

}  // namespace

struct TapDelay : testing::TestWithParam<int> {};

TEST_P(TapDelay, IsAtMostOneQuantum) {
  const auto quantum = std::uint32_t(GetParam());
  PipeWireWorld world(GetParam());
  ASSERT_EQ(world.session.problem(), "");
  ASSERT_TRUE(world.start());
  impulseSignal().write(world.session.file("impulses.wav"));
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
