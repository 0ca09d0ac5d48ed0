#include "base/LiveQueues.h"

#include <sys/eventfd.h>

#include <utility>

#include "base/ThreadRules.h"

namespace sonmere {

namespace {

// Idle threads that the global queue keeps for the next task.
constexpr int kIdleGlobalThreads = 2;

// The task list or pool whose task the thread runs.
constinit thread_local const void* currentTarget = nullptr;

// Nothing that a task throws has anywhere to go: it ends the program at the throw.
void runTask(Task& task) noexcept {
  task();
  task = nullptr;
}

}  // namespace

void LiveTaskList::enqueue(Task task) {
  assertNotRendering();
  willEnqueue();
  const std::lock_guard lock(mutex_);
  if (isAbandoned_ || isClosed_) return;
  tasks_.push_back(std::move(task));
  if (wake_.valid()) eventfd_write(wake_.get(), 1);
  changed_.notify_one();
}

int LiveTaskList::descriptor() {
  const std::lock_guard lock(mutex_);
  if (!wake_.valid()) wake_ = FileDescriptor(eventfd(unsigned(tasks_.size()), EFD_CLOEXEC | EFD_NONBLOCK));
  return wake_.get();
}

bool LiveTaskList::takeDue(Task& task) {
  const std::lock_guard lock(mutex_);
  if (tasks_.empty()) return false;
  task = std::move(tasks_.front());
  tasks_.pop_front();
  return true;
}

// What is posted meanwhile waits for the next call, so that a task that posts itself anew leaves the other
// loop its turn.
void LiveTaskList::runDue() {
  std::size_t due = 0;
  {
    const std::lock_guard lock(mutex_);
    eventfd_t count = 0;
    if (wake_.valid()) eventfd_read(wake_.get(), &count);
    due = tasks_.size();
  }
  const void* const outer = std::exchange(currentTarget, this);
  for (Task task; due > 0 && takeDue(task); --due) runTask(task);
  currentTarget = outer;
}

bool LiveTaskList::takeNext(Task& task) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return isStopped_ || isAbandoned_ || isClosed_ || !tasks_.empty(); });
  if (std::exchange(isStopped_, false) || isAbandoned_ || tasks_.empty()) return false;
  task = std::move(tasks_.front());
  tasks_.pop_front();
  return true;
}

void LiveTaskList::run() {
  const void* const outer = std::exchange(currentTarget, this);
  Task task;
  while (takeNext(task)) runTask(task);
  currentTarget = outer;
}

void LiveTaskList::close() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  changed_.notify_all();
}

void LiveTaskList::stop() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  changed_.notify_all();
}

void LiveTaskList::abandon() {
  std::deque<Task> dropped;
  const std::lock_guard lock(mutex_);
  isAbandoned_ = true;
  dropped.swap(tasks_);
  changed_.notify_all();
}

bool LiveTaskList::isCurrent() const { return currentTarget == this; }

TaskToken LiveQueue::postAfter(Duration delay, Task task) {
  return timers_->add(target(), delay, Duration::zero(), std::move(task));
}

TaskToken LiveQueue::repeat(Duration interval, Task task) {
  return timers_->add(target(), interval, std::max(interval, Duration(1)), std::move(task));
}

void LiveMainQueue::run() {
  const ThreadRole role(ThreadRole::Kind::main);
  thread_ = std::this_thread::get_id();
  tasks_->run();
}

void LiveMainQueue::runDue() {
  const ThreadRole role(ThreadRole::Kind::main);
  thread_ = std::this_thread::get_id();
  tasks_->runDue();
}

class LiveSerialQueue::Tasks final : public LiveTaskList {
 public:
  Tasks(std::string label, std::shared_ptr<LiveThreads> threads)
      : label_(std::move(label)), threads_(std::move(threads)) {}

 private:
  void willEnqueue() override {
    std::call_once(started_, [this] {
      auto self = shared_from_this();
      threads_->start(label_, [self] { self->run(); });
    });
  }

  const std::string label_;
  const std::shared_ptr<LiveThreads> threads_;
  std::once_flag started_;
};

LiveSerialQueue::LiveSerialQueue(std::string label, std::shared_ptr<LiveTimers> timers,
                                 std::shared_ptr<LiveThreads> threads)
    : LiveQueue(label, std::move(timers)),
      tasks_(std::make_shared<Tasks>(std::move(label), std::move(threads))) {}

LiveSerialQueue::~LiveSerialQueue() { tasks_->close(); }

std::weak_ptr<LiveTaskList> LiveSerialQueue::tasks() const { return tasks_; }
void LiveSerialQueue::post(Task task) { tasks_->enqueue(std::move(task)); }
bool LiveSerialQueue::isCurrent() const { return tasks_->isCurrent(); }
std::weak_ptr<LiveTaskTarget> LiveSerialQueue::target() const { return tasks_; }

class LiveGlobalQueue::Pool final : public LiveTaskTarget, public std::enable_shared_from_this<Pool> {
 public:
  explicit Pool(std::shared_ptr<LiveThreads> threads) : threads_(std::move(threads)) {}

  void enqueue(Task task) override {
    assertNotRendering();
    {
      const std::lock_guard lock(mutex_);
      if (isAbandoned_) return;
      tasks_.push_back(std::move(task));
      if (int(tasks_.size()) <= idle_) {
        changed_.notify_one();
        return;
      }
    }
    threads_->start("global", [self = shared_from_this()] { self->run(); });
  }

  void abandon() {
    std::deque<Task> dropped;
    const std::lock_guard lock(mutex_);
    isAbandoned_ = true;
    dropped.swap(tasks_);
    changed_.notify_all();
  }

 private:
  void run() {
    currentTarget = this;
    Task task;
    while (takeNext(task)) runTask(task);
  }

  bool takeNext(Task& task) {
    std::unique_lock lock(mutex_);
    if (tasks_.empty() && idle_ >= kIdleGlobalThreads) return false;
    ++idle_;
    changed_.wait(lock, [this] { return isAbandoned_ || !tasks_.empty(); });
    --idle_;
    if (isAbandoned_) return false;
    task = std::move(tasks_.front());
    tasks_.pop_front();
    return true;
  }

  const std::shared_ptr<LiveThreads> threads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  int idle_ = 0;
  bool isAbandoned_ = false;
};

LiveGlobalQueue::LiveGlobalQueue(std::shared_ptr<LiveTimers> timers, std::shared_ptr<LiveThreads> threads)
    : LiveQueue("global", std::move(timers)), pool_(std::make_shared<Pool>(std::move(threads))) {}

LiveGlobalQueue::~LiveGlobalQueue() = default;

void LiveGlobalQueue::abandon() { pool_->abandon(); }
void LiveGlobalQueue::post(Task task) { pool_->enqueue(std::move(task)); }
bool LiveGlobalQueue::isCurrent() const { return currentTarget == pool_.get(); }
std::weak_ptr<LiveTaskTarget> LiveGlobalQueue::target() const { return pool_; }

}  // namespace sonmere
