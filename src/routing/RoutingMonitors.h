#pragma once

#include <array>
#include <set>
#include <string>

#include "base/Observable.h"
#include "routing/RoutingCore.h"
#include "routing/TapLifecycle.h"

namespace sonmere {

// Which routed apps and which buses the user wants to hear on the monitor, until the program ends. An app
// that is heard there is silent on its own output. Main thread.
class RoutingMonitors {
 public:
  RoutingMonitors(RoutingCore& core, TapLifecycle& taps);

  // Wishes: of an app also while it is not routed, and all of them while the monitor is off.
  OwnedObservable<std::set<std::string>, RoutingMonitors> monitorEnabledBundleIDs;
  OwnedObservable<std::array<bool, kBusCount>, RoutingMonitors> masterMonitorEnabledForBus;
  // How loud the monitor plays each bus, linear, 0 to 1.
  OwnedObservable<std::array<float, kBusCount>, RoutingMonitors> masterGains;

  // False when the app's tap had to be made anew and could not be.
  bool setMonitored(const std::string& bundleID, bool monitored);
  // False when a tap of the bus was lost. A bus outside 0 to 9 is ignored.
  bool setMasterMonitored(int bus, bool monitored);
  void setMasterGain(int bus, float gain);
  // Whether a bus is to be heard now.
  bool isMasterMonitored(int bus) const {
    return isBus(bus) && isOn() && masterMonitorEnabledForBus.get()[std::size_t(bus)];
  }

  // Taps are others, or on other buses.
  void update();
  // Nothing of the engine is heard any more.
  void close();

 private:
  BusMaster& master(int bus) const { return core_.render->masters[std::size_t(clampBus(bus))]; }
  bool isOn() const { return *core_.context.monitors.isOn; }
  bool applyTo(const std::string& bundleID);
  bool applyToBus(int bus);
  void applyAll();

  RoutingCore& core_;
  TapLifecycle& taps_;
  Subscription switch_;
};

}  // namespace sonmere
