#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "base/Observable.h"
#include "driver/TrackNamesStore.h"

namespace sonmere {

// The one place that asks, after anything that can break routes, whether every route still stands, has what
// is missing made again, and publishes how all of them fare. The routes themselves are told of each event
// before (RouteKeeper); a pass comes once that has settled, so that it finds what was not mended. Main
// thread.
class RouteRecoveryCoordinator {
 public:
  RouteRecoveryCoordinator(EngineContext& context, TrackNamesStore& trackNames)
      : context_(context), trackNames_(trackNames) {}

  // As the latest pass found them.
  OwnedObservable<std::vector<RouteHealthEntry>, RouteRecoveryCoordinator> routeHealth;
  OwnedObservable<bool, RouteRecoveryCoordinator> isRevalidating{false};
  OwnedObservable<std::optional<Date>, RouteRecoveryCoordinator> lastRevalidation;
  OwnedObservable<bool, RouteRecoveryCoordinator> isResetting{false};
  OwnedObservable<std::optional<ResetRoutingResult>, RouteRecoveryCoordinator> lastResetResult;

  // Follows sleep and wake, the server and its devices from now on, and the switches of routes, which outlive
  // the coordinator.
  void attach(const std::vector<const Observable<bool>*>& toggles);
  // A pass some time from now, when whoever starts has started.
  void revalidateSoon();
  // One pass. While another runs, or the machine sleeps, there is none.
  void revalidate(RevalidationReason reason);
  // Every route is made anew; then a pass. While one is under way there is no other, and `done` comes with
  // the end of that one.
  void resetRouting(std::function<void(const ResetRoutingResult&)> done);
  // As the routes stand at this moment; nothing is mended.
  std::vector<RouteHealthEntry> currentHealth() const;

 private:
  void happened(RouteKeeper::Event event);
  void willSleep();
  void didWake();
  void passIn(ScopedTask& task, Duration delay, RevalidationReason reason);
  void observeToggle(const Observable<bool>& toggle);
  void finishReset();

  EngineContext& context_;
  TrackNamesStore& trackNames_;
  bool isSuspendedForSleep_ = false;
  Subscription events_;
  std::vector<Subscription> toggleObservations_;
  ScopedTask wakeDebounceTask_, restartDebounceTask_, deviceChangeDebounceTask_, toggleDebounceTask_;
  ScopedTask startTask_, resetTask_;
  std::vector<std::function<void(const ResetRoutingResult&)>> resetReplies_;
};

}  // namespace sonmere
