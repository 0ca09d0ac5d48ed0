#include "base/VirtualRuntime.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace sonmere {
namespace {

constexpr Duration kTick = fromMilliseconds(10);

TEST(VirtualRuntime, TimePassesOnlyToWhatIsDueNext) {
  VirtualRuntime runtime(1);
  std::vector<std::string> story;
  const Date wall = runtime.wallTime();
  const auto tell = [&](const char* what) {
    return
        [&story, &runtime, what] { story.push_back(fmt::format("{} {}", runtime.uptime() / kTick, what)); };
  };
  Queue& main = runtime.mainQueue();
  main.postAfter(3 * kTick, tell("third"));
  main.postAfter(1 * kTick, tell("first"));
  main.postAfter(2 * kTick, tell("cancelled")).cancel();
  main.post(tell("posted"));
  main.postAfter(5 * kTick, tell("beyond"));
  runtime.settle();
  EXPECT_EQ(story, (std::vector<std::string>{"0 posted"}));
  runtime.advance(4 * kTick);
  EXPECT_EQ(story, (std::vector<std::string>{"0 posted", "1 first", "3 third"}));
  EXPECT_EQ(runtime.uptime(), 4 * kTick);
  EXPECT_EQ(runtime.wallTime() - wall, 4 * kTick);
}

// The order in which one instant's tasks of several queues and clocks ran.
std::string orderOfOneInstant(std::uint64_t seed, bool shuffle = true) {
  VirtualRuntime runtime(seed, shuffle);
  std::string order;
  std::vector<std::shared_ptr<Queue>> queues;
  std::vector<std::unique_ptr<CycleClock>> clocks;
  for (char name = 'a'; name <= 'd'; ++name) {
    queues.push_back(runtime.serialQueue(std::string(1, name)));
    for (int i = 0; i < 3; ++i) queues.back()->post([&order, name] { order += name; });
    queues.back()->postAfter(Duration::zero(), [&order, name] { order += char(name - 'a' + 'A'); });
    clocks.push_back(runtime.startCycles("clock", Duration::zero(), [&order, name](Duration deadline) {
      order += char(name - 'a' + '0');
      return deadline + kTick;
    }));
  }
  runtime.settle();
  return order;
}

TEST(VirtualRuntime, SeedDrawsTheOrderOfOneInstant) {
  std::set<std::string> orders;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const std::string order = orderOfOneInstant(seed);
    EXPECT_EQ(order.size(), 20u);
    EXPECT_EQ(order, orderOfOneInstant(seed)) << "seed " << seed;
    orders.insert(order);
  }
  EXPECT_GT(orders.size(), 15u);
  EXPECT_EQ(orderOfOneInstant(1, false), orderOfOneInstant(2, false));
  VirtualRuntime a(3), b(3), c(4);
  const auto bits = a.randomBits();
  EXPECT_EQ(bits, b.randomBits());
  EXPECT_NE(bits, c.randomBits());
}

TEST(VirtualRuntime, SerialQueuesKeepTheirOrderUnderEverySeed) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    VirtualRuntime runtime(seed);
    std::vector<int> seen;
    const auto queue = runtime.serialQueue("serial");
    for (int i = 0; i < 20; ++i)
      queue->post([&, i] {
        EXPECT_TRUE(queue->isCurrent());
        EXPECT_FALSE(runtime.mainQueue().isCurrent());
        seen.push_back(i);
        runtime.globalQueue().post([&] { EXPECT_FALSE(queue->isCurrent()); });
      });
    runtime.settle();
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.size(), 20u);
  }
}

TEST(VirtualRuntime, SleepingQueueSleepsAloneAndOthersGoOn) {
  VirtualRuntime runtime(5);
  const auto sleeper = runtime.serialQueue("sleeper"), other = runtime.serialQueue("other");
  int cycles = 0, others = 0, own = 0;
  const auto clock =
      runtime.startCycles("clock", kTick, [&](Duration deadline) { return ++cycles, deadline + kTick; });
  const auto token = other->repeat(kTick, [&] { ++others; });
  sleeper->post([&] {
    sleeper->post([&] { ++own; });
    runtime.blockFor(10 * kTick);
    EXPECT_EQ(runtime.uptime(), 10 * kTick);
    EXPECT_TRUE(sleeper->isCurrent());
    EXPECT_EQ(cycles, 10);
    EXPECT_EQ(others, 10);
    EXPECT_EQ(own, 0) << "nothing of the queue that sleeps";
  });
  runtime.advance(10 * kTick);
  EXPECT_EQ(own, 1);
  // Outside every task it is the main queue that sleeps.
  int onMain = 0;
  runtime.mainQueue().post([&] { ++onMain; });
  runtime.blockFor(kTick);
  EXPECT_EQ(onMain, 0);
  runtime.advance(Duration::zero());
  EXPECT_EQ(onMain, 1);
}

TEST(VirtualRuntime, WaitUntilEndsWithItsConditionOrItsTimeout) {
  VirtualRuntime runtime(6);
  bool holds = false;
  runtime.globalQueue().postAfter(3 * kTick, [&] { holds = true; });
  EXPECT_FALSE(runtime.waitUntil([&] { return holds; }, 2 * kTick));
  EXPECT_EQ(runtime.uptime(), 2 * kTick);
  EXPECT_TRUE(runtime.waitUntil([&] { return holds; }, 100 * kTick));
  EXPECT_EQ(runtime.uptime(), 3 * kTick);
}

TEST(VirtualRuntime, RepeatKeepsItsPaceWithoutBursts) {
  VirtualRuntime runtime(7);
  const auto queue = runtime.serialQueue("repeat");
  std::vector<std::int64_t> ticks;
  TaskToken token;
  token = queue->repeat(kTick, [&] {
    ticks.push_back(runtime.uptime() / kTick);
    if (ticks.size() == 5) token.cancel();
  });
  runtime.advance(2 * kTick);
  queue->post([&] { runtime.blockFor(5 * kTick + kTick / 2); });
  runtime.advance(20 * kTick);
  EXPECT_EQ(ticks, (std::vector<std::int64_t>{1, 2, 7, 8, 9}));
}

TEST(VirtualRuntime, CyclesEndWithTheirClockAndComeLateAfterAJump) {
  VirtualRuntime runtime(8);
  std::vector<std::int64_t> deadlines, times;
  auto clock = runtime.startCycles("clock", kTick, [&](Duration deadline) {
    deadlines.push_back(deadline / kTick);
    times.push_back(runtime.uptime() / kTick);
    return deadline + kTick;
  });
  runtime.advance(kTick);
  runtime.jump(2 * kTick);
  EXPECT_EQ(deadlines.size(), 1u) << "a jump runs nothing";
  runtime.advance(kTick);
  EXPECT_EQ(deadlines, (std::vector<std::int64_t>{1, 2, 3, 4}));
  EXPECT_EQ(times, (std::vector<std::int64_t>{1, 3, 3, 4}));
  clock.reset();
  runtime.advance(10 * kTick);
  EXPECT_EQ(deadlines.size(), 4u);
}

}  // namespace
}  // namespace sonmere
