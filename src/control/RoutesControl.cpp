#include "control/RoutesControl.h"

#include <algorithm>

#include "base/DateText.h"

namespace sonmere {

namespace {

using Verdict = RouteHealthVerdict;

// What the row's own detail does not say.
std::string adviceFor(const RouteHealthEntry& entry) {
  if (entry.id == "driver")
    return entry.verdict == Verdict::inactive ? "Install the driver."
           : entry.verdict == Verdict::broken ? "Repair the driver."
                                              : "";
  if (entry.verdict == Verdict::broken) return "Reset Routing makes every route anew.";
  if (entry.verdict != Verdict::degraded) return "";
  if (entry.id == "input") return "Connect it again, or choose another.";
  return "Connect what is missing; what comes back is taken up by itself.";
}

// Broken is worst; what is switched off can't be bad.
int rank(Verdict verdict) { return verdict == Verdict::broken ? 2 : verdict == Verdict::degraded ? 1 : 0; }

RoutesReset stateOf(const ResetRoutingResult& result) {
  return {result.droppedStaleMembers, result.sweptAggregates, result.rebuiltSystemAudio,
          result.rebuiltDAWDevice, iso8601Text(result.finishedAt)};
}

}  // namespace

RoutesState RoutesControl::state() const {
  const RouteRecoveryCoordinator& recovery = app_.routeRecovery();
  RoutesState state;
  Verdict worst = Verdict::healthy;
  for (const RouteHealthEntry& entry : recovery.currentHealth()) {
    state.routes.push_back(
        {entry.id, entry.name, verdictText(entry.verdict), entry.detail, adviceFor(entry)});
    if (rank(entry.verdict) > rank(worst)) worst = entry.verdict;
  }
  state.worst = verdictText(worst);
  state.isResetting = *recovery.isResetting;
  if (const auto& date = *recovery.lastRevalidation) state.lastCheck = iso8601Text(*date);
  if (const auto& result = *recovery.lastResetResult) state.lastReset = stateOf(*result);
  return state;
}

RoutesState RoutesControl::check() {
  app_.routeRecovery().revalidate(RevalidationReason::manual);
  return state();
}

void RoutesControl::reset(std::function<void(const RoutesState&)> done) {
  app_.routeRecovery().resetRouting(
      [this, done = std::move(done)](const ResetRoutingResult&) { done(state()); });
}

}  // namespace sonmere
