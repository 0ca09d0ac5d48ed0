#include "base/LiveCycleClock.h"

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>

#include "base/FlushToZero.h"
#include "base/LiveThreads.h"

namespace sonmere {

namespace {

void becomeRealtime() {
  // The shortest timer slack, for where real-time priority is refused.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
#ifndef SONMERE_SANITIZED  // a sanitizer's own locks spin: at real-time priority they would starve the holder
  // Above ordinary threads, below what an audio server gives its own.
  constexpr int kCyclePriority = 10;
  const sched_param parameters{kCyclePriority};
  pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
#endif
}

}  // namespace

struct LiveCycleClock::State {
  std::mutex mutex;
  std::condition_variable stopped;
  bool isStopped = false;
  std::chrono::steady_clock::time_point epoch;
  Runtime::Cycle cycle;

  // Whether the deadline came before the stop.
  bool sleepUntil(Duration deadline) {
    std::unique_lock lock(mutex);
    return !stopped.wait_until(lock, epoch + deadline, [this] { return isStopped; });
  }
  void run(Duration deadline) noexcept {
    while (sleepUntil(deadline)) deadline = cycle(deadline);
  }
};

LiveCycleClock::LiveCycleClock(std::string label, std::chrono::steady_clock::time_point epoch,
                               Duration firstDeadline, Runtime::Cycle cycle)
    : state_(std::make_shared<State>()) {
  state_->epoch = epoch;
  state_->cycle = std::move(cycle);
  thread_ = std::thread([state = state_, label = std::move(label), firstDeadline] {
    beginThread(label);
    becomeRealtime();
    const FlushToZero flush;
    state->run(firstDeadline);
  });
}

LiveCycleClock::~LiveCycleClock() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->isStopped = true;
    state_->stopped.notify_all();
  }
  if (thread_.get_id() == std::this_thread::get_id())
    thread_.detach();
  else
    thread_.join();
}

}  // namespace sonmere
