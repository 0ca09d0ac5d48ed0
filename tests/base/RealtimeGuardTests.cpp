#include "support/RealtimeGuard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "base/RealtimeScope.h"

namespace sonmere {
namespace {

// Keeps the compiler from removing an allocation that nobody looks at.
void* volatile sink = nullptr;

TEST(RealtimeGuard, CleanCallbackCountsNothing) {
  RealtimeGuard guard;
  EXPECT_FALSE(isRealtimeSafe(guard)) << "nothing ran yet";
  sink = ::operator new(16);  // outside of a scope
  ::operator delete(sink);
  float sum = 0;
  for (int i = 0; i < 100; ++i) {
    const RealtimeScope scope;
    sum += float(i);
  }
  EXPECT_EQ(sum, 4950);
  EXPECT_EQ(guard.scopesEntered(), 100);
  EXPECT_REALTIME_SAFE(guard);
}

TEST(RealtimeGuard, CatchesAllocationAndFree) {
  if (!RealtimeGuard::watchesMemoryAndLocks()) GTEST_SKIP() << "the sanitizer owns the allocator";
  RealtimeGuard guard;
  {
    const RealtimeScope outer;
    const RealtimeScope nested;
    sink = ::operator new(16);
  }
  EXPECT_EQ(guard.violations().allocations, 1);
  EXPECT_EQ(guard.violations().frees, 0);
  {
    const RealtimeScope scope;
    ::operator delete(sink);
    std::free(nullptr);
  }
  EXPECT_EQ(guard.violations().frees, 1);
  {
    const RealtimeScope scope;
    sink = std::aligned_alloc(64, 64);
    sink = std::realloc(sink, 100);
  }
  EXPECT_EQ(guard.violations().allocations, 3);
  std::free(sink);
  EXPECT_FALSE(isRealtimeSafe(guard));
  EXPECT_NE(guard.violations().first.find("malloc"), std::string::npos) << guard.violations().first;
  EXPECT_NE(guard.violations().first.find("RealtimeGuard"), std::string::npos) << guard.violations().first;
}

TEST(RealtimeGuard, CatchesLocks) {
  if (!RealtimeGuard::watchesMemoryAndLocks()) GTEST_SKIP() << "the sanitizer owns the locks";
  RealtimeGuard guard;
  std::mutex mutex;
  std::shared_mutex shared;
  std::condition_variable condition;
  {
    const RealtimeScope scope;
    mutex.lock();
    mutex.unlock();
    EXPECT_TRUE(shared.try_lock_shared());
    shared.unlock_shared();
    condition.notify_one();
  }
  EXPECT_EQ(guard.violations().locks, 3) << guard.violations().first;
}

TEST(RealtimeGuard, CatchesSystemCallAndLetsItHappen) {
  if (!RealtimeGuard::watchesSystemCalls()) GTEST_SKIP() << "no system call dispatch here";
  RealtimeGuard guard;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  for (int i = 0; i < 3; ++i) {
    const RealtimeScope scope;
    EXPECT_EQ(write(ends[1], "x", 1), 1);
  }
  char read3[4];
  EXPECT_EQ(read(ends[0], read3, sizeof read3), 3);
  EXPECT_EQ(guard.violations().systemCalls, 3);
  EXPECT_EQ(guard.violations().total(), 3) << guard.violations().first;
  close(ends[0]);
  close(ends[1]);
}

TEST(RealtimeGuard, WatchesThreadsApart) {
  RealtimeGuard guard;
  std::atomic<int> stage{0};
  std::thread other([&] {
    const RealtimeScope scope;
    stage = 1;
    while (stage != 2) {
    }
  });
  while (stage != 1) {
  }
  // The other thread is inside a scope, this one is not.
  sink = ::operator new(16);
  ::operator delete(sink);
  EXPECT_EQ(guard.violations().total(), 0);
  stage = 2;
  other.join();
  std::thread offender([&] {
    const RealtimeScope scope;
    if (stage == 2) sink = ::operator new(16);
  });
  offender.join();
  EXPECT_EQ(guard.scopesEntered(), 2);
  EXPECT_EQ(guard.violations().allocations, RealtimeGuard::watchesMemoryAndLocks() ? 1 : 0);
  ::operator delete(sink);
}

}  // namespace
}  // namespace sonmere
