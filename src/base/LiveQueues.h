#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "base/FileDescriptor.h"
#include "base/LiveThreads.h"
#include "base/LiveTimers.h"
#include "base/Queue.h"

namespace sonmere {

// Tasks in order of posting, and the loop that runs them on whichever thread calls it. Lives as long as its
// thread, which may be longer than the queue that the program holds. Threads: any, except as said.
class LiveTaskList : public LiveTaskTarget, public std::enable_shared_from_this<LiveTaskList> {
 public:
  void enqueue(Task task) override;
  // Runs tasks until close() or stop(). One thread at a time.
  void run();
  // run() ends when no task is left.
  void close();
  // run() ends after the task that runs now; the next run() goes on with what is left.
  void stop();
  // Runs the tasks that are there, and returns.
  void runDue();
  // Can be read while tasks are there that runDue() has not seen; -1 where the system has no descriptor left.
  int descriptor();
  // Drops what is queued and all that comes; run() ends.
  void abandon();
  // Whether the calling thread is inside run().
  bool isCurrent() const;

 protected:
  // Called, without the lock, before a task is added: once it is in, the poster touches nothing more.
  virtual void willEnqueue() {}

 private:
  bool takeNext(Task& task);
  bool takeDue(Task& task);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  FileDescriptor wake_;  // from the first descriptor() on
  bool isClosed_ = false;
  bool isStopped_ = false;
  bool isAbandoned_ = false;
};

// What every live queue is: a label, a target and the timers.
class LiveQueue : public Queue {
 public:
  LiveQueue(std::string label, std::shared_ptr<LiveTimers> timers)
      : label_(std::move(label)), timers_(std::move(timers)) {}

  TaskToken postAfter(Duration delay, Task task) override;
  TaskToken repeat(Duration interval, Task task) override;
  const std::string& label() const override { return label_; }

 protected:
  virtual std::weak_ptr<LiveTaskTarget> target() const = 0;

 private:
  std::string label_;
  std::shared_ptr<LiveTimers> timers_;
};

// The main queue: a task list that LiveRuntime::run() runs. The thread that made the runtime counts as the
// main thread until run() says otherwise.
class LiveMainQueue final : public LiveQueue {
 public:
  explicit LiveMainQueue(std::shared_ptr<LiveTimers> timers)
      : LiveQueue("main", std::move(timers)), thread_(std::this_thread::get_id()) {}

  void run();
  void runDue();
  int descriptor() { return tasks_->descriptor(); }
  void stop() { tasks_->stop(); }
  void abandon() { tasks_->abandon(); }
  void post(Task task) override { tasks_->enqueue(std::move(task)); }
  bool isCurrent() const override { return thread_.load() == std::this_thread::get_id(); }

 private:
  std::weak_ptr<LiveTaskTarget> target() const override { return tasks_; }

  std::shared_ptr<LiveTaskList> tasks_ = std::make_shared<LiveTaskList>();
  std::atomic<std::thread::id> thread_;
};

// A serial queue with a thread of its own from its first task on, until the last task that was posted before
// the queue went. The last reference may go on that very thread.
class LiveSerialQueue final : public LiveQueue {
 public:
  class Tasks;
  LiveSerialQueue(std::string label, std::shared_ptr<LiveTimers> timers,
                  std::shared_ptr<LiveThreads> threads);
  ~LiveSerialQueue() override;

  std::weak_ptr<LiveTaskList> tasks() const;
  void post(Task task) override;
  bool isCurrent() const override;

 private:
  std::weak_ptr<LiveTaskTarget> target() const override;

  std::shared_ptr<Tasks> tasks_;
};

// Runs each task at once: on an idle thread, or on a new one when all are busy. A few idle threads are kept.
class LiveGlobalQueue final : public LiveQueue {
 public:
  class Pool;
  LiveGlobalQueue(std::shared_ptr<LiveTimers> timers, std::shared_ptr<LiveThreads> threads);
  ~LiveGlobalQueue() override;

  void abandon();
  void post(Task task) override;
  bool isCurrent() const override;

 private:
  std::weak_ptr<LiveTaskTarget> target() const override;

  std::shared_ptr<Pool> pool_;
};

}  // namespace sonmere
