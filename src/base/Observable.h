#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "base/ThreadRules.h"

namespace sonmere {

// Ends an observation when destroyed. One thread at a time; the observer may be called on another.
class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::shared_ptr<std::atomic<bool>> active) : active_(std::move(active)) {}
  Subscription(Subscription&& other) noexcept = default;
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      cancel();
      active_ = std::move(other.active_);
    }
    return *this;
  }
  ~Subscription() { cancel(); }
  void cancel() {
    if (active_) *active_ = false;
    active_.reset();
  }

 private:
  std::shared_ptr<std::atomic<bool>> active_;
};

// A published value, as everybody sees it. Observers run synchronously after each store, in the order of
// subscription. Main thread only.
template <class T>
class Observable {
 public:
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;

  const T& get() const { return value_; }
  const T& operator*() const { return value_; }
  const T* operator->() const { return &value_; }

  [[nodiscard]] Subscription observe(std::function<void(const T&)> observer) const {
    assertMain();
    auto active = std::make_shared<std::atomic<bool>>(true);
    observers_.push_back({active, std::make_shared<std::function<void(const T&)>>(std::move(observer))});
    return Subscription(active);
  }

 protected:
  Observable() = default;
  explicit Observable(T value) : value_(std::move(value)) {}
  ~Observable() = default;

  void notify() {
    std::erase_if(observers_, [](const Entry& e) { return !*e.active; });
    const auto copy = observers_;
    for (const Entry& e : copy)
      if (*e.active) (*e.call)(value_);
  }

  T value_{};

 private:
  struct Entry {
    std::shared_ptr<std::atomic<bool>> active;
    std::shared_ptr<std::function<void(const T&)>> call;
  };

  mutable std::vector<Entry> observers_;
};

// What its owner alone can set.
template <class T, class Owner>
class OwnedObservable final : public Observable<T> {
 public:
  OwnedObservable() = default;
  explicit OwnedObservable(T value) : Observable<T>(std::move(value)) {}

 private:
  friend Owner;
  // Tests tell what an owner would.
  friend struct ObservableOwner;

  void set(T value) {
    assertMain();
    this->value_ = std::move(value);
    this->notify();
  }
  // Publishes only what is new.
  void setIfChanged(T value) {
    if (value != this->value_) set(std::move(value));
  }
  // Changes the value in place and publishes it once.
  template <class Change>
  void update(Change&& change) {
    assertMain();
    change(this->value_);
    this->notify();
  }
  // Changes the value without telling the observers; for values that change many times a second.
  T& silently() {
    assertMain();
    return this->value_;
  }
};

}  // namespace sonmere
