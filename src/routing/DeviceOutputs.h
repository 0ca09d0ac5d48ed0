#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "routing/AppOutputRenderer.h"
#include "routing/RoutingCore.h"
#include "routing/TapLifecycle.h"

namespace sonmere {

// Routed apps that play on devices of their own instead of on their buses. A device that goes, or will not
// have its app, leaves the app to its bus; the wish stays, and holds again when the device comes back. Main
// thread.
class DeviceOutputs {
 public:
  DeviceOutputs(RoutingCore& core, TapLifecycle& taps) : core_(core), taps_(taps) {}

  // From now on the app's tap plays there, or on its bus. False when it does neither as wished.
  bool choose(const std::string& bundleID, const OutputWish& wish);
  // The set of taps is another: those on devices get their units, units without a tap end.
  void update();
  // After a change of the list of devices.
  void reconcileDevices();
  // After a sleep a unit may run that nobody hears.
  void restart();
  // The server is gone, and with it every device; units end and taps are left to their buses.
  void forget();
  void close() { renderers_.clear(); }

  // Null for an app that plays on its bus.
  const AppOutputRenderer* rendererOf(const std::string& bundleID) const;
  // Of the apps whose devices are away or refuse them, for who looks for the reason.
  std::vector<std::string> unmetWishes() const;

 private:
  bool play(const std::string& bundleID);
  void follow(const std::string& bundleID);
  void leave(const std::string& bundleID);
  void reconcileStats();
  std::vector<std::string> appsWithWishes() const;

  RoutingCore& core_;
  TapLifecycle& taps_;
  std::map<std::string, std::unique_ptr<AppOutputRenderer>> renderers_;
  std::map<std::string, std::string> names_;  // of the wished-for devices, as they were called last, by UID
  ScopedTask rendererStatsTimer_;
};

}  // namespace sonmere
