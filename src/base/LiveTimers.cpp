#include "base/LiveTimers.h"

#include <algorithm>

namespace sonmere {

using SteadyClock = std::chrono::steady_clock;

TaskToken LiveTimers::add(std::weak_ptr<LiveTaskTarget> target, Duration delay, Duration interval,
                          Task task) {
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  auto work = std::make_shared<Work>(std::move(task), interval, cancelled);
  schedule({SteadyClock::now() + std::max(delay, Duration::zero()), 0, std::move(target), std::move(work)});
  return TaskToken(cancelled);
}

void LiveTimers::schedule(Entry entry) {
  const std::lock_guard lock(mutex_);
  if (isStopped_) return;
  entry.sequence = ++sequence_;
  const std::uint64_t sequence = entry.sequence;
  entries_.push_back(std::move(entry));
  std::push_heap(entries_.begin(), entries_.end());
  if (!hasThread_) hasThread_ = threads_->start("timers", [self = shared_from_this()] { self->loop(); });
  if (entries_.front().sequence == sequence) changed_.notify_one();
}

void LiveTimers::stop() {
  std::vector<Entry> dropped;
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  dropped.swap(entries_);
  changed_.notify_one();
}

void LiveTimers::loop() {
  std::unique_lock lock(mutex_);
  while (!isStopped_) {
    if (entries_.empty()) {
      changed_.wait(lock);
    } else if (const TimePoint due = entries_.front().due; due > SteadyClock::now()) {
      changed_.wait_until(lock, due);
    } else {
      std::pop_heap(entries_.begin(), entries_.end());
      Entry entry = std::move(entries_.back());
      entries_.pop_back();
      lock.unlock();
      fire(std::move(entry));
      lock.lock();
    }
  }
}

void LiveTimers::fire(Entry entry) {
  const auto target = entry.target.lock();
  if (!target) return;
  target->enqueue([self = weak_from_this(), moved = std::move(entry)]() mutable {
    if (moved.work->cancelled->load(std::memory_order_acquire)) return;
    if (moved.work->interval == Duration::zero()) return moved.work->task();
    if (const auto timers = self.lock()) timers->runAndRearm(moved);
  });
}

// A repeating task is armed again only after its run, at the next whole interval: runs that a busy queue made
// late never pile up.
void LiveTimers::runAndRearm(Entry& entry) {
  entry.work->task();
  if (entry.work->cancelled->load(std::memory_order_acquire)) return;
  const Duration late = SteadyClock::now() - entry.due;
  const Duration interval = entry.work->interval;
  entry.due += interval * (1 + late / interval);
  schedule(entry);
}

}  // namespace sonmere
