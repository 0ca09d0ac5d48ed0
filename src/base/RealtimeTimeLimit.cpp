#include "base/RealtimeTimeLimit.h"

#include <sched.h>
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>

namespace sonmere::RealtimeTimeLimit {

namespace {

std::atomic<int> lost{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Comes to the thread that has worked too long. System calls alone.
void takePriority(int) {
  const int error = errno;
  const int policy = ::sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
  const sched_param none{};
  if ((policy == SCHED_FIFO || policy == SCHED_RR) && ::sched_setscheduler(0, SCHED_OTHER, &none) == 0)
    lost.fetch_add(1, std::memory_order_relaxed);
  errno = error;
}

}  // namespace

void install() {
  struct sigaction action {};
  action.sa_handler = takePriority;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGXCPU, &action, nullptr);
  lowerSoft();
}

void lowerSoft() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_RTTIME, &limit) != 0 || limit.rlim_max == RLIM_INFINITY) return;
  const rlim_t half = limit.rlim_max / 2;
  if (limit.rlim_cur <= half) return;
  limit.rlim_cur = half;
  ::setrlimit(RLIMIT_RTTIME, &limit);
}

bool allowsRealtime() {
  rlimit limit{};
  return ::getrlimit(RLIMIT_RTTIME, &limit) != 0 || limit.rlim_max == RLIM_INFINITY ||
         limit.rlim_max >= rlim_t(kShortest);
}

int lostPriorities() noexcept { return lost.load(std::memory_order_relaxed); }

}  // namespace sonmere::RealtimeTimeLimit
