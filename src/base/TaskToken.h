#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace sonmere {

// A handle on delayed or repeating work. Copies name the same work. Destroying a token cancels nothing;
// hold a ScopedTask where the work must not outlive its owner. Threads: any.
class TaskToken {
 public:
  TaskToken() = default;
  explicit TaskToken(std::shared_ptr<std::atomic<bool>> cancelled) : cancelled_(std::move(cancelled)) {}

  // After this returns the work does not begin any more; a run already under way on another thread goes on.
  void cancel() const {
    if (cancelled_) cancelled_->store(true, std::memory_order_release);
  }
  bool isCancelled() const { return cancelled_ && cancelled_->load(std::memory_order_acquire); }
  explicit operator bool() const { return cancelled_ != nullptr; }

 private:
  std::shared_ptr<std::atomic<bool>> cancelled_;
};

// A token that cancels its work when replaced or destroyed.
class ScopedTask {
 public:
  ScopedTask() = default;
  ScopedTask(TaskToken token) : token_(std::move(token)) {}  // NOLINT: an implicit conversion reads well
  ScopedTask(ScopedTask&& other) noexcept : token_(std::exchange(other.token_, {})) {}
  ScopedTask& operator=(ScopedTask&& other) noexcept {
    if (this != &other) {
      token_.cancel();
      token_ = std::exchange(other.token_, {});
    }
    return *this;
  }
  ~ScopedTask() { token_.cancel(); }

  void cancel() {
    token_.cancel();
    token_ = {};
  }
  explicit operator bool() const { return bool(token_); }

 private:
  TaskToken token_;
};

}  // namespace sonmere
