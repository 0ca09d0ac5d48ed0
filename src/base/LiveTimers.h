#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "base/LiveThreads.h"
#include "base/Queue.h"

namespace sonmere {

// Where a timer's task goes when it is due. Threads: any.
class LiveTaskTarget {
 public:
  virtual ~LiveTaskTarget() = default;
  virtual void enqueue(Task task) = 0;
};

// Delayed and repeating tasks of all queues: one thread that sleeps until the next is due and hands it to its
// queue. A task is destroyed on its queue, too, even if cancelled, unless the queue is gone. Threads: any.
class LiveTimers : public std::enable_shared_from_this<LiveTimers> {
 public:
  explicit LiveTimers(std::shared_ptr<LiveThreads> threads) : threads_(std::move(threads)) {}

  // `interval` of zero: once.
  TaskToken add(std::weak_ptr<LiveTaskTarget> target, Duration delay, Duration interval, Task task);
  // Drops all timers and ends the thread.
  void stop();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  struct Work {
    Task task;
    Duration interval;
    std::shared_ptr<std::atomic<bool>> cancelled;
  };
  struct Entry {
    TimePoint due;
    std::uint64_t sequence;
    std::weak_ptr<LiveTaskTarget> target;
    std::shared_ptr<Work> work;
    // Heap order: the earliest first, then in order of addition.
    bool operator<(const Entry& other) const {
      return due != other.due ? due > other.due : sequence > other.sequence;
    }
  };
  void schedule(Entry entry);
  void loop();
  void fire(Entry entry);
  void runAndRearm(Entry& entry);

  const std::shared_ptr<LiveThreads> threads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Entry> entries_;
  std::uint64_t sequence_ = 0;
  bool hasThread_ = false;
  bool isStopped_ = false;
};

}  // namespace sonmere
