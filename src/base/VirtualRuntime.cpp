#include "base/VirtualRuntime.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "base/FlushToZero.h"
#include "base/ThreadRules.h"

namespace sonmere {

namespace {
// Separates the order of events from the bits handed out, so that drawing a UUID changes no order.
constexpr std::uint64_t kOrderSalt = 0x9E3779B97F4A7C15ull;
}  // namespace

class VirtualRuntime::VirtualQueue final : public Queue, public std::enable_shared_from_this<VirtualQueue> {
 public:
  VirtualQueue(VirtualRuntime& runtime, std::string label, bool isConcurrent)
      : runtime_(runtime), label_(std::move(label)), isConcurrent_(isConcurrent) {}

  void post(Task task) override {
    assertNotRendering();
    tasks_.push_back(std::move(task));
    if (!std::exchange(isListed_, true)) runtime_.ready_.push_back(shared_from_this());
  }
  TaskToken postAfter(Duration delay, Task task) override {
    return schedule(delay, Duration::zero(), std::move(task));
  }
  TaskToken repeat(Duration interval, Task task) override {
    return schedule(interval, interval, std::move(task));
  }
  // Code outside every task stands for the main queue.
  bool isCurrent() const override {
    return runtime_.current_.empty() ? this == runtime_.main_.get() : runtime_.current_.back() == this;
  }
  const std::string& label() const override { return label_; }

  // A serial queue whose task sleeps runs nothing else.
  bool isRunnable() const { return !tasks_.empty() && (isConcurrent_ || !busy_); }
  void runFront() {
    const Task task = std::move(tasks_.front());
    tasks_.pop_front();
    const bool wasBusy = std::exchange(busy_, true);
    runtime_.current_.push_back(this);
    const bool isMain = this == runtime_.main_.get();
    const ThreadRole role(isMain ? ThreadRole::Kind::main : ThreadRole::Kind::other);
    task();
    runtime_.current_.pop_back();
    busy_ = wasBusy;
  }
  // Whether the queue may leave the list of ready queues; it enters again with its next task.
  bool unlistIfEmpty() {
    if (!tasks_.empty()) return false;
    isListed_ = false;
    return true;
  }
  bool setBusy(bool busy) { return std::exchange(busy_, busy); }

 private:
  TaskToken schedule(Duration delay, Duration interval, Task task) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    runtime_.addTimer({runtime_.now_ + std::max(delay, Duration::zero()), 0, 0, weak_from_this(), cancelled,
                       interval, std::make_shared<Task>(std::move(task)), nullptr});
    return TaskToken(cancelled);
  }

  VirtualRuntime& runtime_;
  std::string label_;
  bool isConcurrent_;
  bool busy_ = false;
  bool isListed_ = false;
  std::deque<Task> tasks_;
};

class VirtualRuntime::VirtualCycleClock final : public CycleClock {
 public:
  VirtualCycleClock(VirtualRuntime& runtime, Duration firstDeadline, Cycle cycle)
      : runtime_(runtime), cycle_(std::move(cycle)) {
    arm(firstDeadline);
  }
  ~VirtualCycleClock() override { cancelled_->store(true); }

  void run(Duration deadline) { arm(cycle_(deadline)); }

 private:
  void arm(Duration due) { runtime_.addTimer({due, 0, 0, {}, cancelled_, Duration::zero(), nullptr, this}); }

  VirtualRuntime& runtime_;
  Cycle cycle_;
  std::shared_ptr<std::atomic<bool>> cancelled_ = std::make_shared<std::atomic<bool>>(false);
};

VirtualRuntime::VirtualRuntime(std::uint64_t seed, bool shuffle, Date wallStart)
    : wallStart_(wallStart), shuffle_(shuffle), random_(seed), order_(seed ^ kOrderSalt) {
  main_ = std::make_shared<VirtualQueue>(*this, "main", false);
  global_ = std::make_shared<VirtualQueue>(*this, "global", true);
}

VirtualRuntime::~VirtualRuntime() = default;

Date VirtualRuntime::today() { return std::chrono::system_clock::now(); }

Queue& VirtualRuntime::mainQueue() { return *main_; }
Queue& VirtualRuntime::globalQueue() { return *global_; }

std::shared_ptr<Queue> VirtualRuntime::serialQueue(std::string label) {
  return std::make_shared<VirtualQueue>(*this, std::move(label), false);
}

Date VirtualRuntime::wallTime() const { return wallStart_ + now_; }

std::unique_ptr<CycleClock> VirtualRuntime::startCycles(std::string, Duration firstDeadline, Cycle cycle) {
  return std::make_unique<VirtualCycleClock>(*this, firstDeadline, std::move(cycle));
}

void VirtualRuntime::addTimer(Timer timer) {
  timer.sequence = ++sequence_;
  timer.tieBreak = shuffle_ ? order_() : 0;
  timers_.push_back(std::move(timer));
  std::push_heap(timers_.begin(), timers_.end(), Later{});
}

VirtualRuntime::Timer* VirtualRuntime::earliest() {
  while (!timers_.empty() && timers_.front().cancelled->load()) {
    std::pop_heap(timers_.begin(), timers_.end(), Later{});
    timers_.pop_back();
  }
  return timers_.empty() ? nullptr : &timers_.front();
}

// Takes the one earliest timer, if due: a cycle runs here, a task goes to its queue.
void VirtualRuntime::fireDueTimers() {
  Timer* first = earliest();
  if (!first || first->due > now_) return;
  std::pop_heap(timers_.begin(), timers_.end(), Later{});
  Timer timer = std::move(timers_.back());
  timers_.pop_back();
  if (timer.clock) {
    const FlushToZero asOnAnAudioThread;
    const ThreadRole role(ThreadRole::Kind::other);
    current_.push_back(nullptr);
    timer.clock->run(timer.due);
    current_.pop_back();
    return;
  }
  const auto queue = timer.queue.lock();
  if (!queue) return;
  queue->post([this, timer = std::move(timer)] { runTimerTask(timer); });
}

// A repeating task is armed again only after its run: what a sleeping queue made late never piles up.
void VirtualRuntime::runTimerTask(Timer timer) {
  if (timer.cancelled->load()) return;
  (*timer.task)();
  if (timer.interval <= Duration::zero() || timer.cancelled->load()) return;
  timer.due += timer.interval * (1 + (now_ - timer.due) / timer.interval);
  addTimer(std::move(timer));
}

// Runs one ready task of a queue drawn from the seed; false when no queue can run.
bool VirtualRuntime::runOne() {
  std::erase_if(ready_, [](const auto& queue) { return queue->unlistIfEmpty(); });
  std::vector<std::size_t> runnable;
  for (std::size_t i = 0; i < ready_.size(); ++i)
    if (ready_[i]->isRunnable()) runnable.push_back(i);
  if (runnable.empty()) return false;
  const auto queue = ready_[runnable[shuffle_ ? order_() % runnable.size() : 0]];
  queue->runFront();
  return true;
}

bool VirtualRuntime::runUntil(Duration limit, const std::function<bool()>* stop) {
  while (true) {
    if (stop && (*stop)()) return true;
    const Timer* first = earliest();
    const bool timerDue = first && first->due <= now_;
    // Tasks that are ready and cycles that are due compete for the same instant.
    if (timerDue && (!shuffle_ || order_() % 2 == 0)) {
      fireDueTimers();
      continue;
    }
    if (runOne()) continue;
    if (timerDue) {
      fireDueTimers();
      continue;
    }
    if (!first || first->due > limit) break;
    now_ = first->due;
  }
  now_ = std::max(now_, limit);
  return stop && (*stop)();
}

bool VirtualRuntime::sleepUntil(Duration limit, const std::function<bool()>* stop) {
  if (!current_.empty()) return runUntil(limit, stop);  // the running task keeps its queue busy
  const bool wasBusy = main_->setBusy(true);
  const bool stopped = runUntil(limit, stop);
  main_->setBusy(wasBusy);
  return stopped;
}

void VirtualRuntime::blockFor(Duration duration) { sleepUntil(now_ + duration, nullptr); }

bool VirtualRuntime::waitUntil(const std::function<bool()>& condition, Duration timeout) {
  return sleepUntil(now_ + timeout, &condition);
}

void VirtualRuntime::advance(Duration duration) { runUntil(now_ + duration, nullptr); }

}  // namespace sonmere
