#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "routing/CatchAllTap.h"
#include "routing/RoutingCore.h"
#include "routing/RoutingMonitors.h"
#include "routing/TapHealthWatchdog.h"
#include "routing/TapLifecycle.h"

namespace sonmere {

// What Mix Mode asks of the routing.
struct MixModeWish {
  bool isEnabled = false;
  bool includesSystemAudio = false;
  float systemAudioVolume = 1;  // linear
  bool previewsStreamMix = false;

  bool operator==(const MixModeWish&) const = default;
};

// Hears every routed app on the monitor while Mix Mode is on, and what nobody captures besides. Monitors that
// the user has switched on by hand are left as they are. Main thread.
class RoutingMixMode {
 public:
  RoutingMixMode(RoutingCore& core, TapLifecycle& taps, RoutingMonitors& monitors);

  // Processes that others hold behind muted taps, and play themselves. Before the first `apply`.
  std::function<std::vector<AudioObjectID>()> capturedElsewhere;

  void apply(const MixModeWish& wish);
  // The taps are others, or what others capture.
  void update();
  // The server has gone, and what was made of it.
  void serverLost();

  const MixModeWish& wish() const { return wish_; }
  TapHealthWatchdog& watchdog() { return watchdog_; }
  bool isCatchAllRunning() const { return catchAll_.isRunning(); }
  float catchAllLevel() const { return catchAll_.level(); }
  void close();

 private:
  void linkMonitors();
  void unlinkMonitors();
  void updateCatchAll();
  std::vector<AudioObjectID> excludes() const;

  RoutingCore& core_;
  TapLifecycle& taps_;
  RoutingMonitors& monitors_;
  CatchAllTap catchAll_;
  TapHealthWatchdog watchdog_;
  MixModeWish wish_;
  std::set<std::string> mixModeOwnedMonitorBundleIDs_;
  bool isUpdating_ = false;
};

}  // namespace sonmere
