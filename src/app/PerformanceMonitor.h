#pragma once

#include <vector>

#include "app/LatencyProbe.h"
#include "base/Observable.h"
#include "base/Runtime.h"

namespace sonmere {

// Has the latency probe look every few seconds while the engines have paths; without any it sleeps. Main
// thread; the probe outlives it.
class PerformanceMonitor {
 public:
  static constexpr Duration kTick = std::chrono::seconds(5);

  PerformanceMonitor(Runtime& runtime, LatencyProbe& probe) : runtime_(runtime), probe_(probe) {}

  // Looks at once, and anew whenever one of the values is published that go with a change of the paths.
  template <class... Observables>
  void start(Observables&... changes) {
    (changes_.push_back(changes.observe([this](const auto&) { reconcile(); })), ...);
    reconcile();
  }

 private:
  void reconcile();

  Runtime& runtime_;
  LatencyProbe& probe_;
  ScopedTask tick_;
  std::vector<Subscription> changes_;
};

}  // namespace sonmere
