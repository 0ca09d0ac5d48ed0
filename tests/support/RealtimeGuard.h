#pragma once

#include <gtest/gtest.h>

#include <string>

namespace sonmere {

// What happened inside a RealtimeScope that must not. One system call per scope is counted, not each.
struct RealtimeViolations {
  long allocations = 0;
  long frees = 0;
  long locks = 0;
  long systemCalls = 0;
  std::string first;  // the first offender and where it was called from; empty when there is none

  long total() const { return allocations + frees + locks + systemCalls; }
};

// Watches every RealtimeScope of the process, on all threads, for its own life. One at a time; counts start
// at zero. In sanitizer builds only the scopes are counted: the sanitizer owns allocator and locks.
class RealtimeGuard {
 public:
  RealtimeGuard();
  ~RealtimeGuard();
  RealtimeGuard(const RealtimeGuard&) = delete;
  RealtimeGuard& operator=(const RealtimeGuard&) = delete;

  RealtimeViolations violations() const;
  // How many render callbacks began under this guard.
  long scopesEntered() const;

  // Whether this build counts allocations and locks.
  static bool watchesMemoryAndLocks();
  // Whether this build and this kernel can count system calls.
  static bool watchesSystemCalls();
};

// Holds when at least one callback ran under the guard and none did what it must not.
testing::AssertionResult isRealtimeSafe(const RealtimeGuard& guard);

}  // namespace sonmere

#define EXPECT_REALTIME_SAFE(guard) EXPECT_TRUE(::sonmere::isRealtimeSafe(guard))
