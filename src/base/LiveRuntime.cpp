#include "base/LiveRuntime.h"

#include <sys/random.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <vector>

#include "base/LiveCycleClock.h"
#include "base/LiveQueues.h"
#include "base/LiveThreads.h"
#include "base/LiveTimers.h"

namespace sonmere {

namespace {
// How often waitUntil looks at its condition: often at first, then less.
constexpr Duration kFirstPoll = fromMilliseconds(1);
constexpr Duration kLongestPoll = fromMilliseconds(10);
}  // namespace

struct LiveRuntime::Implementation {
  using SteadyClock = std::chrono::steady_clock;

  const SteadyClock::time_point epoch = SteadyClock::now();
  const std::shared_ptr<LiveThreads> threads = std::make_shared<LiveThreads>();
  const std::shared_ptr<LiveTimers> timers = std::make_shared<LiveTimers>(threads);
  LiveMainQueue main{timers};
  LiveGlobalQueue global{timers, threads};
  std::mutex mutex;
  std::vector<std::weak_ptr<LiveTaskList>> serialTasks;

  void remember(const LiveSerialQueue& queue) {
    const std::lock_guard lock(mutex);
    std::erase_if(serialTasks, [](const auto& tasks) { return tasks.expired(); });
    serialTasks.push_back(queue.tasks());
  }

  ~Implementation() {
    timers->stop();
    main.abandon();
    global.abandon();
    {
      const std::lock_guard lock(mutex);
      for (const auto& weak : serialTasks)
        if (const auto tasks = weak.lock()) tasks->abandon();
    }
    threads->join();
  }
};

LiveRuntime::LiveRuntime() : implementation_(std::make_unique<Implementation>()) {}
LiveRuntime::~LiveRuntime() = default;

void LiveRuntime::run() { implementation_->main.run(); }
void LiveRuntime::stop() { implementation_->main.stop(); }
int LiveRuntime::mainQueueDescriptor() { return implementation_->main.descriptor(); }
void LiveRuntime::runDue() { implementation_->main.runDue(); }

Queue& LiveRuntime::mainQueue() { return implementation_->main; }
Queue& LiveRuntime::globalQueue() { return implementation_->global; }

std::shared_ptr<Queue> LiveRuntime::serialQueue(std::string label) {
  auto queue =
      std::make_shared<LiveSerialQueue>(std::move(label), implementation_->timers, implementation_->threads);
  implementation_->remember(*queue);
  return queue;
}

Duration LiveRuntime::uptime() const noexcept {
  return Implementation::SteadyClock::now() - implementation_->epoch;
}

Date LiveRuntime::wallTime() const { return std::chrono::system_clock::now(); }

void LiveRuntime::blockFor(Duration duration) { std::this_thread::sleep_for(duration); }

bool LiveRuntime::waitUntil(const std::function<bool()>& condition, Duration timeout) {
  const Duration limit = uptime() + timeout;
  for (Duration poll = kFirstPoll; !condition(); poll = std::min(poll * 2, kLongestPoll)) {
    const Duration left = limit - uptime();
    if (left <= Duration::zero()) return false;
    std::this_thread::sleep_for(std::min(poll, left));
  }
  return true;
}

std::unique_ptr<CycleClock> LiveRuntime::startCycles(std::string label, Duration firstDeadline, Cycle cycle) {
  return std::make_unique<LiveCycleClock>(std::move(label), implementation_->epoch, firstDeadline,
                                          std::move(cycle));
}

std::uint64_t LiveRuntime::randomBits() {
  std::uint64_t bits = 0;
  // Never short or interrupted for so few bytes once the system's pool is ready; waits for that.
  while (getrandom(&bits, sizeof bits, 0) != ssize_t(sizeof bits)) {
  }
  return bits;
}

}  // namespace sonmere
