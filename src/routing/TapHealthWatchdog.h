#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Observable.h"
#include "routing/CatchAllTap.h"
#include "routing/TapLifecycle.h"

namespace sonmere {

// Has captures made anew that have delivered nothing but silence for a minute: a wedged one looks the same as
// an app that is quiet. Main thread.
class TapHealthWatchdog {
 public:
  struct Heal {
    ProcessID pid = 0;  // -1: the catch-all
    Date at{};

    bool operator==(const Heal&) const = default;
  };
  static constexpr ProcessID kCatchAll = -1;

  TapHealthWatchdog(RoutingCore& core, TapLifecycle& taps, CatchAllTap& catchAll)
      : core_(core), taps_(taps), catchAll_(catchAll) {}

  OwnedObservable<int, TapHealthWatchdog> healCount{0};  // since launch
  OwnedObservable<std::optional<Date>, TapHealthWatchdog> lastHealAt;
  OwnedObservable<std::vector<Heal>, TapHealthWatchdog> recentHeals;  // the newest last, ten at most

  // Counts from nothing.
  void start();
  void stop();

 private:
  void check();
  // Another look at what is this loud; whether it has been silent for long enough.
  bool isSilentForLong(const std::string& key, float level);
  void note(ProcessID pid);

  RoutingCore& core_;
  TapLifecycle& taps_;
  CatchAllTap& catchAll_;
  std::map<std::string, int> silentSeconds_;  // by app; empty key: the catch-all
  ScopedTask timer_;
};

}  // namespace sonmere
