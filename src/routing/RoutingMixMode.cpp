#include "routing/RoutingMixMode.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere {

RoutingMixMode::RoutingMixMode(RoutingCore& core, TapLifecycle& taps, RoutingMonitors& monitors)
    : core_(core), taps_(taps), monitors_(monitors), catchAll_(core), watchdog_(core, taps, catchAll_) {}

void RoutingMixMode::apply(const MixModeWish& wish) {
  if (wish == wish_) return update();
  const bool wasEnabled = wish_.isEnabled;
  wish_ = wish;
  taps_.mixModeIsEnabled = wish.isEnabled;
  core_.context.flags.monitorsFollowVolume = wish.isEnabled && wish.previewsStreamMix;
  catchAll_.setVolume(wish.systemAudioVolume);
  if (wish.isEnabled && !wasEnabled) {
    // What is heard nowhere else must be heard here.
    core_.context.monitors.setOn(true);
    watchdog_.start();
  }
  if (wasEnabled && !wish.isEnabled) {
    watchdog_.stop();
    unlinkMonitors();
  }
  update();
}

void RoutingMixMode::update() {
  // Switching a monitor makes a tap anew, which is a change of the taps.
  if (isUpdating_) return;
  isUpdating_ = true;
  if (wish_.isEnabled) linkMonitors();
  updateCatchAll();
  isUpdating_ = false;
}

void RoutingMixMode::linkMonitors() {
  std::vector<std::string> added;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (!bundleID.empty() && !tap->isOnDevice() && !monitors_.monitorEnabledBundleIDs->contains(bundleID))
      added.push_back(bundleID);
  if (added.empty()) return;
  mixModeOwnedMonitorBundleIDs_.insert(added.begin(), added.end());
  for (const std::string& bundleID : added) monitors_.setMonitored(bundleID, true);
  core_.log().info(
      fmt::format("Sonmere Mix Mode: ON — auto-enabled per-tap monitor for {} apps", added.size()));
}

void RoutingMixMode::unlinkMonitors() {
  const auto owned = std::exchange(mixModeOwnedMonitorBundleIDs_, {});
  isUpdating_ = true;
  for (const std::string& bundleID : owned) monitors_.setMonitored(bundleID, false);
  // Those that the user hears by hand keep their taps as they are.
  isUpdating_ = false;
  core_.log().info(fmt::format("Sonmere Mix Mode: OFF — disabled per-tap monitor for {} apps", owned.size()));
}

// In a stable order, so that the same processes are the same list.
std::vector<AudioObjectID> RoutingMixMode::excludes() const {
  std::vector<AudioObjectID> processes;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    processes.insert(processes.end(), tap->audioObjectIDs.begin(), tap->audioObjectIDs.end());
  if (capturedElsewhere)
    for (const AudioObjectID each : capturedElsewhere()) processes.push_back(each);
  if (const auto own = core_.hardware().processForPID(core_.context.platform.applications().ownPID());
      own && *own != kAudioObjectUnknown)
    processes.push_back(*own);
  std::ranges::sort(processes);
  processes.erase(std::unique(processes.begin(), processes.end()), processes.end());
  return processes;
}

void RoutingMixMode::updateCatchAll() {
  wish_.isEnabled&& wish_.includesSystemAudio ? catchAll_.start(excludes()) : catchAll_.stop();
}

void RoutingMixMode::serverLost() { catchAll_.forget(); }

void RoutingMixMode::close() {
  isUpdating_ = true;
  watchdog_.stop();
  catchAll_.stop();
}

}  // namespace sonmere
