#include "base/RealtimeTimeLimit.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <thread>

namespace sonmere {
namespace {

// What a process of its own ends with: its status, or the negative of the signal that ended it.
int inProcess(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

void setLimits(rlim_t soft, rlim_t hard) {
  const rlimit limit{soft, hard};
  setrlimit(RLIMIT_RTTIME, &limit);
}

bool becomeRealtime() {
  const sched_param priority{.sched_priority = 1};
  return sched_setscheduler(0, SCHED_FIFO, &priority) == 0;
}

constexpr int kNoRights = 77;

// A callback that does not come to its end, with a limit of 0.2 s: it is stopped only by the loss of its
// priority, which is seen in it, or by the kernel.
int stall() {
  int status = kNoRights;
  std::thread([&] {
    if (!becomeRealtime()) return;
    while (RealtimeTimeLimit::lostPriorities() == 0) {
    }
    status = sched_getscheduler(0) == SCHED_OTHER ? 0 : 1;
  }).join();
  return status;
}

TEST(RealtimeTimeLimit, AThreadThatStallsLosesItsPriorityAndTheProgramLives) {
  const int status = inProcess([] {
    setLimits(200'000, 200'000);
    RealtimeTimeLimit::install();
    return stall();
  });
  if (status == kNoRights) GTEST_SKIP() << "no right to real-time priority";
  EXPECT_EQ(status, 0);
}

// Whoever hands out the priority sets both limits alike.
TEST(RealtimeTimeLimit, LimitsThatWereSetLaterAreLoweredAgain) {
  const int status = inProcess([] {
    RealtimeTimeLimit::install();
    setLimits(200'000, 200'000);
    RealtimeTimeLimit::lowerSoft();
    return stall();
  });
  if (status == kNoRights) GTEST_SKIP() << "no right to real-time priority";
  EXPECT_EQ(status, 0);
}

TEST(RealtimeTimeLimit, ALimitOfNothingIsNoLimitToWorkUnder) {
  for (const auto& [hard, isAllowed] :
       {std::pair<rlim_t, bool>{0, false}, {5'000, false}, {200'000, true}, {RLIM_INFINITY, true}})
    EXPECT_EQ(inProcess([hard] {
                setLimits(hard, hard);
                return RealtimeTimeLimit::allowsRealtime() ? 1 : 0;
              }),
              isAllowed ? 1 : 0)
        << hard;
}

}  // namespace
}  // namespace sonmere
