#include "system/RouteRecoveryCoordinator.h"

#include "base/ThreadRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>

namespace sonmere {

namespace {

// How long what a trigger began needs to come to rest.
constexpr Duration kAfterWake = fromMilliseconds(1500);
constexpr Duration kAfterRestart = fromMilliseconds(2000);
constexpr Duration kAfterDeviceChange = fromMilliseconds(1000);
constexpr Duration kAfterToggle = fromMilliseconds(800);
constexpr Duration kAfterStart = fromMilliseconds(2500);

// The table's order; a route that is not named here stands behind them.
constexpr std::array kOrder{"driver", "systemAudio", "daw", "input"};

void sortRows(std::vector<RouteHealthEntry>& entries) {
  std::ranges::stable_sort(entries, {}, [](const RouteHealthEntry& entry) {
    return std::ranges::find(kOrder, entry.id) - kOrder.begin();
  });
}

// "healthy 3, broken 1", in the order of the verdicts.
std::string summaryOf(const std::vector<RouteHealthEntry>& entries) {
  std::map<RouteHealthVerdict, int> counts;
  for (const RouteHealthEntry& entry : entries) ++counts[entry.verdict];
  std::string text;
  for (const auto& [verdict, count] : counts)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", verdictText(verdict), count);
  return text.empty() ? "no routes" : text;
}

}  // namespace

void RouteRecoveryCoordinator::attach(const std::vector<const Observable<bool>*>& toggles) {
  assertMain();
  events_ = context_.routes.observe([this](RouteKeeper::Event event) { happened(event); });
  context_.log.info("sleep/wake observers registered");
  context_.log.info("service-restart listener registered");
  for (const Observable<bool>* toggle : toggles) observeToggle(*toggle);
}

// What is set to what it was is no change.
void RouteRecoveryCoordinator::observeToggle(const Observable<bool>& toggle) {
  toggleObservations_.push_back(toggle.observe([this, last = *toggle](bool isOn) mutable {
    if (std::exchange(last, isOn) == isOn) return;
    passIn(toggleDebounceTask_, kAfterToggle, RevalidationReason::deviceChange);
  }));
}

void RouteRecoveryCoordinator::happened(RouteKeeper::Event event) {
  switch (event) {
    case RouteKeeper::Event::sleep:
      return willSleep();
    case RouteKeeper::Event::wake:
      return didWake();
    case RouteKeeper::Event::listChange:
      return passIn(deviceChangeDebounceTask_, kAfterDeviceChange, RevalidationReason::deviceChange);
    case RouteKeeper::Event::serverRestart:
      context_.log.info(fmt::format("coreaudiod restarted — scheduling full revalidation in {:.1f}s",
                                    toSeconds(kAfterRestart)));
      return passIn(restartDebounceTask_, kAfterRestart, RevalidationReason::serviceRestart);
  }
}

void RouteRecoveryCoordinator::willSleep() {
  isSuspendedForSleep_ = true;
  wakeDebounceTask_.cancel();
  context_.log.info("willSleep: routes suspended, wake pass cancelled");
}

void RouteRecoveryCoordinator::didWake() {
  context_.log.info(fmt::format("didWake: scheduling revalidation in {:.1f}s", toSeconds(kAfterWake)));
  wakeDebounceTask_ = context_.runtime.mainQueue().postAfter(kAfterWake, [this] {
    isSuspendedForSleep_ = false;
    revalidate(RevalidationReason::wake);
  });
}

void RouteRecoveryCoordinator::revalidateSoon() {
  assertMain();
  passIn(startTask_, kAfterStart, RevalidationReason::deviceChange);
}

void RouteRecoveryCoordinator::passIn(ScopedTask& task, Duration delay, RevalidationReason reason) {
  task = context_.runtime.mainQueue().postAfter(delay, [this, reason] { revalidate(reason); });
}

void RouteRecoveryCoordinator::revalidate(RevalidationReason reason) {
  assertMain();
  if (isSuspendedForSleep_) return;
  if (*isRevalidating)
    return context_.log.info(
        fmt::format("revalidate({}): pass already running, skipping", reasonText(reason)));
  isRevalidating.set(true);
  trackNames_.reapply();
  auto entries = context_.routes.check(reason);
  sortRows(entries);
  const std::string summary = summaryOf(entries);
  routeHealth.set(std::move(entries));
  lastRevalidation.set(context_.runtime.wallTime());
  isRevalidating.set(false);
  context_.log.info(fmt::format("revalidate({}): {}", reasonText(reason), summary));
}

void RouteRecoveryCoordinator::resetRouting(std::function<void(const ResetRoutingResult&)> done) {
  assertMain();
  resetReplies_.push_back(std::move(done));
  if (*isResetting) return;
  isResetting.set(true);
  resetTask_ = context_.runtime.mainQueue().postAfter(Duration::zero(), [this] { finishReset(); });
}

void RouteRecoveryCoordinator::finishReset() {
  ResetRoutingResult result;
  context_.routes.reset(result);
  result.finishedAt = context_.runtime.wallTime();
  lastResetResult.set(result);
  isResetting.set(false);
  revalidate(RevalidationReason::manual);
  for (const auto& reply : std::exchange(resetReplies_, {})) reply(result);
}

// Whatever the engines still hold, without the server nothing of it sounds.
std::vector<RouteHealthEntry> RouteRecoveryCoordinator::currentHealth() const {
  auto entries = context_.routes.health();
  sortRows(entries);
  if (context_.hardware().devices()) return entries;
  for (RouteHealthEntry& entry : entries)
    if (entry.verdict != RouteHealthVerdict::inactive) {
      entry.verdict = RouteHealthVerdict::broken;
      entry.detail = "The audio server does not answer";
    }
  return entries;
}

}  // namespace sonmere
