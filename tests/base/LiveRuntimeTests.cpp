#include "base/LiveRuntime.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <cmath>
#include <future>
#include <limits>
#include <numeric>
#include <thread>

#include "base/RealtimeScope.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

// Waits for what other threads bring about; the limit is only so that a broken build ends.
template <class Condition>
bool eventually(LiveRuntime& runtime, Condition condition) {
  return runtime.waitUntil(condition, std::chrono::seconds(60));
}

// A loop of others that sleeps until the descriptor can be read, and never wakes up in vain.
TEST(LiveRuntime, AnotherLoopDrivesTheMainQueue) {
  LiveRuntime runtime;
  std::vector<int> order;
  const auto post = [&](int number) {
    runtime.mainQueue().post([&order, number] { order.push_back(number); });
  };
  post(0);  // before anybody asked
  pollfd wake{runtime.mainQueueDescriptor(), POLLIN, 0};
  ASSERT_GE(wake.fd, 0);
  EXPECT_EQ(poll(&wake, 1, 0), 1);
  bool isDone = false;
  runtime.mainQueue().post([&] {
    EXPECT_TRUE(runtime.mainQueue().isCurrent());
    order.push_back(1);
    post(2);
    runtime.globalQueue().post([&] {
      runtime.mainQueue().postAfter(fromMilliseconds(1), [&] {
        order.push_back(3);
        isDone = true;
      });
    });
  });
  runtime.runDue();
  EXPECT_EQ(order, (std::vector<int>{0, 1})) << "what is posted meanwhile leaves the loop its turn";
  int turns = 0;
  for (; !isDone; ++turns) {
    ASSERT_EQ(poll(&wake, 1, 60'000), 1);
    runtime.runDue();
  }
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_LE(turns, 2);
  EXPECT_EQ(poll(&wake, 1, 0), 0);
}

TEST(LiveRuntime, MainQueueRunsOnTheRunningThreadInOrderUntilStopped) {
  LiveRuntime runtime;
  std::vector<int> order;
  const auto thread = std::this_thread::get_id();
  EXPECT_TRUE(runtime.mainQueue().isCurrent());
  for (int i = 0; i < 3; ++i)
    runtime.mainQueue().post([&, i] {
      EXPECT_EQ(std::this_thread::get_id(), thread);
      order.push_back(i);
    });
  runtime.globalQueue().post([&] {
    EXPECT_FALSE(runtime.mainQueue().isCurrent());
    EXPECT_TRUE(runtime.globalQueue().isCurrent());
    runtime.mainQueue().postAfter(fromMilliseconds(1), [&] {
      order.push_back(3);
      runtime.mainQueue().post([&] { order.push_back(4); });
      runtime.stop();
    });
  });
  runtime.run();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 3}));
  runtime.mainQueue().post([&] { runtime.stop(); });
  runtime.run();
  EXPECT_EQ(order.back(), 4) << "what was queued at the stop waits for the next run";
}

TEST(LiveRuntime, SerialQueueKeepsOrderUnderConcurrentPosters) {
  LiveRuntime runtime;
  constexpr int kPosters = 4, kEach = 500;
  std::vector<std::vector<int>> seen(kPosters);  // written by the queue alone, without a lock
  std::atomic<int> done{0};
  const auto queue = runtime.serialQueue("serial");
  for (int poster = 0; poster < kPosters; ++poster)
    runtime.globalQueue().post([&, poster] {
      for (int i = 0; i < kEach; ++i)
        queue->post([&, poster, i] {
          EXPECT_TRUE(queue->isCurrent());
          seen[std::size_t(poster)].push_back(i);
          ++done;
        });
    });
  ASSERT_TRUE(eventually(runtime, [&] { return done == kPosters * kEach; }));
  std::vector<int> expected(kEach);
  std::iota(expected.begin(), expected.end(), 0);
  for (const auto& one : seen) EXPECT_EQ(one, expected);
}

TEST(LiveRuntime, DroppedSerialQueueStillRunsItsTasksOnItsThread) {
  std::atomic<int> ran{0};
  std::atomic<bool> mayGo{false};
  LiveRuntime runtime;
  auto queue = runtime.serialQueue("dropped");
  // The first task holds the last reference and drops it on the queue's own thread.
  queue->post([&, own = queue]() mutable {
    while (!mayGo) std::this_thread::yield();
    own.reset();
    ++ran;
  });
  for (int i = 0; i < 10; ++i) queue->post([&] { ++ran; });
  queue->postAfter(std::chrono::hours(1), [&] { ran = -1; });
  queue.reset();
  mayGo = true;
  EXPECT_TRUE(eventually(runtime, [&] { return ran == 11; }));
}

TEST(LiveRuntime, DestructionWaitsForTheRunningTaskAndDropsTheRest) {
  std::atomic<bool> began{false}, ended{false};
  int dropped = 0;
  const auto alive = std::make_shared<int>();
  std::shared_ptr<Queue> queue;
  {
    LiveRuntime runtime;
    queue = runtime.serialQueue("busy");
    queue->post([&] {
      began = true;
      runtime.blockFor(fromMilliseconds(20));
      ended = true;
    });
    queue->post([&, alive] { ++dropped; });
    runtime.mainQueue().post([&, alive] { ++dropped; });
    queue->postAfter(std::chrono::hours(1), [&, alive] { ++dropped; });
    ASSERT_TRUE(eventually(runtime, [&] { return began.load(); }));
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(dropped, 0);
  EXPECT_EQ(alive.use_count(), 1);
  queue->post([&] { ++dropped; });  // a queue that outlived its runtime takes nothing more
  queue->postAfter(Duration::zero(), [&] { ++dropped; });
  EXPECT_EQ(dropped, 0);
}

TEST(LiveRuntime, GlobalQueueRunsWhatIsBlockedSideBySide) {
  LiveRuntime runtime;
  // Each waits for all the others: fewer threads than tasks would never end.
  constexpr int kTasks = 12;
  std::atomic<int> arrived{0}, done{0};
  for (int i = 0; i < kTasks; ++i)
    runtime.globalQueue().post([&] {
      ++arrived;
      while (arrived < kTasks) std::this_thread::yield();
      ++done;
    });
  EXPECT_TRUE(eventually(runtime, [&] { return done == kTasks; }));
  // Threads that have become idle are woken.
  for (int i = 1; i <= 200; ++i) {
    runtime.globalQueue().post([&] { ++done; });
    ASSERT_TRUE(runtime.waitUntil([&] { return done == kTasks + i; }, std::chrono::seconds(10))) << i;
  }
}

TEST(LiveRuntime, TimersKeepTimeOrderAndCancel) {
  LiveRuntime runtime;
  std::vector<int> order;
  Queue& main = runtime.mainQueue();
  const Duration start = runtime.uptime();
  main.postAfter(fromMilliseconds(30), [&] {
    order.push_back(3);
    EXPECT_GE(runtime.uptime() - start, fromMilliseconds(30));
    runtime.stop();
  });
  main.postAfter(fromMilliseconds(20), [&] { order.push_back(2); });
  main.postAfter(fromMilliseconds(10), [&] { order.push_back(1); });
  main.postAfter(fromMilliseconds(15), [&] { order.push_back(-1); }).cancel();
  runtime.run();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(LiveRuntime, RepeatDoesNotBurstAfterItsQueueWasBusy) {
  LiveRuntime runtime;
  std::atomic<int> runs{0};
  int runsAtRelease = -1, runsAfterBacklog = -1;
  const auto queue = runtime.serialQueue("repeat");
  const auto token = queue->repeat(fromMilliseconds(1), [&] { ++runs; });
  ASSERT_TRUE(eventually(runtime, [&] { return runs >= 3; }));
  std::atomic<bool> done{false};
  queue->post([&] {
    runtime.blockFor(fromMilliseconds(50));
    runsAtRelease = runs;
    queue->post([&] {
      runsAfterBacklog = runs;
      done = true;
    });
  });
  ASSERT_TRUE(eventually(runtime, [&] { return done.load(); }));
  EXPECT_LE(runsAfterBacklog - runsAtRelease, 1);
  token.cancel();
  std::atomic<bool> passed{false};
  queue->post([&] { passed = true; });
  ASSERT_TRUE(eventually(runtime, [&] { return passed.load(); }));
  const int runsAtCancel = runs;
  queue->postAfter(fromMilliseconds(10), [&] { passed = false; });
  ASSERT_TRUE(eventually(runtime, [&] { return !passed; }));
  EXPECT_EQ(runs, runsAtCancel);
}

TEST(LiveRuntime, CyclesFollowTheDeadlinesTheyReturnAndEndWithTheClock) {
  LiveRuntime runtime;
  std::vector<Duration> deadlines;  // the cycle thread's alone until the clock is gone
  std::atomic<int> count{0};
  float denormal = std::numeric_limits<float>::min();
  float halved = 1;
  const Duration first = runtime.uptime() + fromMilliseconds(1);
  auto clock = runtime.startCycles("device clock", first, [&](Duration deadline) {
    EXPECT_GE(runtime.uptime(), deadline);
    deadlines.push_back(deadline);
    volatile float value = denormal;
    halved = value * 0.5F;
    ++count;
    return deadline + std::chrono::microseconds(500);
  });
  ASSERT_TRUE(eventually(runtime, [&] { return count >= 20; }));
  clock.reset();
  for (std::size_t i = 0; i < deadlines.size(); ++i)
    EXPECT_EQ(deadlines[i], first + std::chrono::microseconds(500) * std::int64_t(i));
  EXPECT_EQ(halved, 0.0F) << "denormals are flushed on cycle threads";
}

TEST(LiveRuntime, UptimeIsSafeInCallbacks) {
  LiveRuntime runtime;
  RealtimeGuard guard;
  Duration last{0};
  {
    const RealtimeScope scope;
    last = runtime.uptime();
  }
  EXPECT_GT(last, Duration::zero());
  EXPECT_REALTIME_SAFE(guard);
}

TEST(LiveRuntimeDeathTest, TaskThatThrowsEndsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        LiveRuntime runtime;
        runtime.mainQueue().post([] { throw std::runtime_error("lost"); });
        try {
          runtime.run();
        } catch (...) {
          std::_Exit(0);
        }
      },
      "lost");
}

}  // namespace
}  // namespace sonmere
