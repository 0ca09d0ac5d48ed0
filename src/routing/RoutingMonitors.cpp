#include "routing/RoutingMonitors.h"

#include "base/ThreadRules.h"

#include <algorithm>

namespace sonmere {

RoutingMonitors::RoutingMonitors(RoutingCore& core, TapLifecycle& taps) : core_(core), taps_(taps) {
  taps_.isMonitored = [this](const std::string& bundleID) {
    return isOn() && monitorEnabledBundleIDs->contains(bundleID);
  };
  masterGains.silently().fill(1);
  switch_ = core_.context.monitors.isOn.observe([this](bool) { applyAll(); });
  std::vector<std::shared_ptr<MonitorSource>> buses;
  for (BusMaster& each : core_.render->masters) buses.emplace_back(core_.render, &each.monitor);
  core_.context.monitors.offer(MonitorPlace::buses, std::move(buses));
}

bool RoutingMonitors::setMonitored(const std::string& bundleID, bool monitored) {
  assertMain();
  monitorEnabledBundleIDs.update(
      [&](auto& all) { monitored ? (void)all.insert(bundleID) : (void)all.erase(bundleID); });
  return applyTo(bundleID);
}

bool RoutingMonitors::setMasterMonitored(int bus, bool monitored) {
  assertMain();
  if (!isBus(bus)) return true;
  masterMonitorEnabledForBus.update([&](auto& all) { all[std::size_t(bus)] = monitored; });
  return applyToBus(bus);
}

void RoutingMonitors::setMasterGain(int bus, float gain) {
  assertMain();
  if (!isBus(bus)) return;
  const float held = std::clamp(gain, 0.0f, 1.0f);
  master(bus).monitor.gain = held;
  masterGains.update([&](auto& all) { all[std::size_t(bus)] = held; });
}

// Heard on the monitor before it falls silent on its own output.
bool RoutingMonitors::applyTo(const std::string& bundleID) {
  const auto tap = core_.tapOf(bundleID);
  if (!tap) return true;
  tap->monitor.setEnabled(taps_.isMonitored(bundleID));
  core_.context.monitors.noteSwitched();
  return taps_.applyMuteRule(bundleID);
}

bool RoutingMonitors::applyToBus(int bus) {
  master(bus).monitor.setEnabled(isMasterMonitored(bus));
  core_.context.monitors.noteSwitched();
  std::vector<std::string> concerned;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (clampBus(tap->busIndex) == bus) concerned.push_back(bundleID);
  bool isDone = true;
  for (const std::string& bundleID : concerned) isDone &= taps_.applyMuteRule(bundleID);
  return isDone;
}

void RoutingMonitors::applyAll() {
  for (int bus = 0; bus < kBusCount; ++bus) applyToBus(bus);
  for (const std::string& bundleID : std::set(*monitorEnabledBundleIDs)) applyTo(bundleID);
}

// By bus, and in the order in which each is mixed.
void RoutingMonitors::update() {
  assertMain();
  std::vector<std::shared_ptr<MonitorSource>> sources;
  if (const auto& lists = core_.render->activeTapsByBus.current())
    for (const auto& taps : lists->buses)
      for (const auto& tap : taps) sources.emplace_back(tap, &tap->monitor);
  core_.context.monitors.offer(MonitorPlace::taps, std::move(sources));
}

void RoutingMonitors::close() {
  assertMain();
  switch_.cancel();
  core_.context.monitors.offer(MonitorPlace::taps, {});
  core_.context.monitors.offer(MonitorPlace::buses, {});
}

}  // namespace sonmere
