// Apps that this program holds in hidden devices: what the session and other programs notice of it.

#include <gtest/gtest.h>

#include "PipeWireWorld.h"

namespace sonmere {

namespace {

OSStatus count(void* refcon, const AudioTimeStamp&, AudioBufferList, AudioBufferList) noexcept {
  static_cast<std::atomic<int>*>(refcon)->fetch_add(1);
  return noErr;
}

// A muted tap on all of an app.
struct Holding {
  Holding(PipeWireWorld& itsWorld, const std::string& app) : world(itsWorld) {
    world.until([&] { return !world.processesOf(app).empty(); });
    TapAggregatePlan plan;
    plan.tap = {.name = "Held", .processes = world.processesOf(app), .mute = TapMute::muted};
    plan.aggregateUID = "held";
    plan.procedure = count;
    plan.clientData = &cycles;
    if (auto made = buildTapAggregate(world.hardware(), world.runtime, plan)) objects = *made;
  }
  ~Holding() { letGo(); }
  void letGo() { destroyTapAggregate(world.hardware(), objects); }
  bool hears() {
    return world.until([&, before = cycles.load()] { return cycles > before + 3; });
  }

  PipeWireWorld& world;
  std::atomic<int> cycles{0};
  TapAggregate objects;
};

struct HeldApp : testing::Test {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  }
  PipeWireWorld world{256};
};

}  // namespace

// The session manager puts devices to sleep that have been idle for five seconds, and dies of one that has
// gone meanwhile.
TEST_F(HeldApp, TheSessionManagerOutlivesIdleHiddenDevices) {
  KnownSignal(60).write(world.session.file("signal.wav"));
  for (int round = 0; round < 3; ++round) {
    auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
    Holding holding(world, "pw-play");
    ASSERT_TRUE(holding.hears());
    player.end();
    ASSERT_TRUE(world.until([&] { return world.processesOf("pw-play").empty(); }));
    // The device is idle once the server says so; what has been asked before is answered then.
    world.session.run({"pw-cli", "ls", "Node"});
  }
  const Duration end = world.runtime.uptime() + std::chrono::seconds(6);
  world.until([&] { return world.runtime.uptime() > end || !world.session.hasItsManager(); });
  EXPECT_TRUE(world.session.hasItsManager());
  auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
  EXPECT_TRUE(world.until([&] {
    return world.outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"};
  })) << "programs that come later get no link";
}

}  // namespace sonmere
