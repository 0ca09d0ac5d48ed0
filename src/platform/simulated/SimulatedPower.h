#pragma once

#include "audio/device/PowerEvents.h"
#include "platform/ObserverList.h"

namespace sonmere {

// Main thread.
class SimulatedPower final : public PowerEvents {
 public:
  SimulatedPower(Runtime& runtime, bool isAvailable)
      : isAvailable_(isAvailable), willSleep_(runtime), didWake_(runtime), willTerminate_(runtime) {}

  bool isAvailable() const override { return isAvailable_; }
  [[nodiscard]] Subscription observeWillSleep(std::function<void()> observer) override {
    return willSleep_.add(std::move(observer));
  }
  [[nodiscard]] Subscription observeDidWake(std::function<void()> observer) override {
    return didWake_.add(std::move(observer));
  }
  [[nodiscard]] Subscription observeWillTerminate(std::function<void()> observer) override {
    return willTerminate_.add(std::move(observer));
  }

  // The host's side.
  void postWillSleep() {
    if (isAvailable_) willSleep_.post();
  }
  void postDidWake() {
    if (isAvailable_) didWake_.post();
  }
  void postWillTerminate() {
    if (isAvailable_) willTerminate_.post();
  }

 private:
  bool isAvailable_;
  ObserverList<> willSleep_;
  ObserverList<> didWake_;
  ObserverList<> willTerminate_;
};

}  // namespace sonmere
