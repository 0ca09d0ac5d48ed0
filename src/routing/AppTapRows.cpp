// The part of AppTapEngine that keeps a row for each app, and with it the tap that is wished for.

#include <fmt/format.h>

#include <algorithm>

#include "apps/FamilyRules.h"
#include "base/ThreadRules.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

namespace {

// Distances between attempts double from the first on.
constexpr Duration kFirstRouteRetry = std::chrono::seconds(1);
constexpr int kRouteAttempts = 5;

bool sameObjects(const std::vector<AudioObjectID>& a, const std::vector<AudioObjectID>& b) {
  return std::set(a.begin(), a.end()) == std::set(b.begin(), b.end());
}

}  // namespace

// Families that were there keep their row's values; new ones take what is saved; one that is pinned or to be
// routed keeps its row while its app does not run. Rows stay where they were, new ones come last.
std::vector<TappedAppInfo> AppTapEngine::mergeRows(const std::vector<PendingAppFamily>& families) {
  std::vector<TappedAppInfo> rows;
  const auto add = [&](const std::string& bundleID, const PendingAppFamily* family) {
    TappedAppInfo row;
    if (const TappedAppInfo* old = this->row(bundleID)) {
      row = *old;
    } else {
      row.bundleID = bundleID;
      row.name = FamilyRules::familyName(bundleID);
      state_.restore(row);
    }
    row.id = family ? family->id : 0;
    row.audioObjectIDs = family ? family->audioObjectIDs : std::vector<AudioObjectID>{};
    if (family) {
      row.name = family->name;
      row.icon = family->icon;
    }
    rows.push_back(std::move(row));
  };
  const auto familyOf = [&](const std::string& bundleID) {
    const auto found = std::ranges::find(families, bundleID, &PendingAppFamily::bundleID);
    return found == families.end() ? nullptr : &*found;
  };
  const auto isPinned = [&](const std::string& id) { return rowSets_.pinnedBundleIDs().contains(id); };
  const auto isShown = [&](const std::string& id) {
    return isPinned(id) || !rowSets_.removedBundleIDs().contains(id);
  };

  for (const TappedAppInfo& old : *availableApps) {
    const PendingAppFamily* family = familyOf(old.bundleID);
    const bool isKept = family || isPinned(old.bundleID) || state_.isIntended(old.bundleID);
    if (isKept && isShown(old.bundleID)) add(old.bundleID, family);
  }
  for (const PendingAppFamily& family : families)
    if (!row(family.bundleID) && isShown(family.bundleID)) add(family.bundleID, &family);
  // Rows of apps that have not run since the program started.
  const auto addAll = [&](const std::set<std::string>& bundleIDs) {
    for (const std::string& bundleID : bundleIDs)
      if (isShown(bundleID) && std::ranges::find(rows, bundleID, &TappedAppInfo::bundleID) == rows.end())
        add(bundleID, nullptr);
  };
  addAll(rowSets_.pinnedBundleIDs());
  addAll(state_.intended());
  return rows;
}

void AppTapEngine::refreshApps() {
  assertMain();
  // An observer of what happens below asked: once more, when this is over.
  if (isRefreshing_) return scheduleRefresh();
  isRefreshing_ = true;
  readRows();
  isRefreshing_ = false;
}

void AppTapEngine::readRows() {
  const auto families = discovery_.readFamilies();
  if (!families) return;
  auto rows = mergeRows(*families);
  stopVanished(rows);
  for (TappedAppInfo& next : rows) {
    const TappedAppInfo* old = row(next.bundleID);
    updateRoute(next, !next.audioObjectIDs.empty() && (!old || old->audioObjectIDs.empty()));
  }
  outputs_.retryMissing();
  endFailures(rows);
  // Last, so that whoever observes the rows finds the taps as the rows say.
  availableApps.set(std::move(rows));
}

// What could not be done for an app is over with its wish, and with the app.
void AppTapEngine::endFailures(const std::vector<TappedAppInfo>& rows) {
  std::set<std::string> wishes;
  for (const TappedAppInfo& row : rows)
    if (!row.audioObjectIDs.empty() && state_.isIntended(row.bundleID))
      wishes.insert(RoutingFailures::ofApp(row.bundleID));
  core_.failures.endWhere(
      [&](const std::string& about) { return about.starts_with("app ") && !wishes.contains(about); });
}

void AppTapEngine::stopVanished(const std::vector<TappedAppInfo>& rows) {
  std::vector<std::string> gone;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (std::ranges::find(rows, bundleID, &TappedAppInfo::bundleID) == rows.end()) gone.push_back(bundleID);
  for (const std::string& bundleID : gone) taps_.stopTap(bundleID);
}

void AppTapEngine::updateRoute(TappedAppInfo& row, bool justAppeared) {
  const auto tap = core_.tapOf(row.bundleID);
  if (tap) {
    if (tap->pid == row.id && sameObjects(tap->audioObjectIDs, row.audioObjectIDs)) return;
    if (!row.audioObjectIDs.empty())
      context_.log.info(fmt::format("Sonmere: {} family changed (was {} procs, now {}) — rebuilding tap",
                                    row.bundleID, tap->audioObjectIDs.size(), row.audioObjectIDs.size()));
    taps_.stopTap(tap->bundleID);
    row.level = 0;
    row.isEnabled = !row.audioObjectIDs.empty() && taps_.startTap(row);
    if (!row.audioObjectIDs.empty() && !row.isEnabled) {
      context_.log.error(fmt::format("tap rebuild failed for {} after family change — reverted to not-routed",
                                     row.bundleID));
      retryRoutesSoon();
    }
    return;
  }
  row.isEnabled = false;
  if (!justAppeared || !state_.isGlobalEnabled() || !state_.isIntended(row.bundleID)) return;
  row.isEnabled = taps_.startTap(row);
  if (row.isEnabled) return;
  context_.log.error(fmt::format("arm-on-appearance failed for {} — reverted to not-routed", row.bundleID));
  retryRoutesSoon();
}

void AppTapEngine::retryRoutesSoon() {
  if (failedRetries_ >= kRouteAttempts || routeRetry_) return;
  routeRetry_ = context_.runtime.mainQueue().postAfter(kFirstRouteRetry * (1 << failedRetries_++),
                                                       [this] { retryRoutes(); });
}

void AppTapEngine::retryRoutes() {
  routeRetry_.cancel();
  bool isDone = true;
  for (const TappedAppInfo& row : std::vector(*availableApps)) isDone &= reconcileRoute(row.bundleID);
  isDone ? void(failedRetries_ = 0) : retryRoutesSoon();
  publishRows();
}

}  // namespace sonmere
