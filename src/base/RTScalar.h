#pragma once

#include <atomic>

namespace sonmere {

// A plain value that the control side and a render thread share: last store wins, no ordering with other
// memory, the machine code of a plain load or store. Threads: any, render included.
template <class T>
class RTScalar {
  static_assert(std::atomic<T>::is_always_lock_free);

 public:
  constexpr RTScalar(T value = T{}) noexcept : value_(value) {}  // NOLINT: reads as a field's initial value
  RTScalar(const RTScalar& other) noexcept : value_(other.load()) {}
  RTScalar& operator=(const RTScalar& other) noexcept {
    store(other.load());
    return *this;
  }
  RTScalar& operator=(T value) noexcept {
    store(value);
    return *this;
  }
  operator T() const noexcept { return load(); }  // NOLINT: reads as a field

  T load() const noexcept { return value_.load(std::memory_order_relaxed); }
  void store(T value) noexcept { value_.store(value, std::memory_order_relaxed); }
  // For a request that either side may take back: the reader that takes it sees it exactly once.
  T exchange(T value) noexcept { return value_.exchange(value, std::memory_order_relaxed); }
  // Read, add, write by the value's only writer: not an atomic increment.
  void add(T amount) noexcept { store(T(load() + amount)); }
  void raiseTo(T value) noexcept {
    if (value > load()) store(value);
  }

 private:
  std::atomic<T> value_;
};

// An index into a ring, or any publication counter: its one writer publishes with release what it has put in
// place before, the other side reads with acquire.
class RTPosition {
 public:
  constexpr RTPosition(std::int64_t value = 0) noexcept : value_(value) {}  // NOLINT
  std::int64_t loadAcquire() const noexcept { return value_.load(std::memory_order_acquire); }
  // The writer's own view; also good for displays.
  std::int64_t loadRelaxed() const noexcept { return value_.load(std::memory_order_relaxed); }
  void storeRelease(std::int64_t value) noexcept { value_.store(value, std::memory_order_release); }

 private:
  std::atomic<std::int64_t> value_;
  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
};

// A pointer to memory that stays until no render thread can run: set once it is ready, never freed before.
template <class T>
class RTPointer {
 public:
  T* load() const noexcept { return pointer_.load(std::memory_order_acquire); }
  void store(T* pointer) noexcept { pointer_.store(pointer, std::memory_order_release); }

 private:
  std::atomic<T*> pointer_{nullptr};
};

}  // namespace sonmere
