#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/AppDiscovery.h"
#include "apps/AppSource.h"
#include "apps/RowSets.h"
#include "apps/TappedAppInfo.h"
#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Route.h"
#include "dsp/LatencySource.h"
#include "routing/BusOutputs.h"
#include "routing/DeviceOutputs.h"
#include "routing/RoutingChains.h"
#include "routing/RoutingCore.h"
#include "routing/RoutingEffects.h"
#include "routing/RoutingMixMode.h"
#include "routing/RoutingMonitors.h"
#include "routing/RoutingProfiles.h"
#include "routing/RoutingState.h"
#include "routing/TapLifecycle.h"

namespace sonmere {

// Per-app routing: finds the apps that play, taps the routed ones and mixes them into the ten buses of the
// virtual driver. One value with many jobs, each in a collaborator of its own; here they meet.
// Main thread only. Failures show in errorMessage and in the log; a route that fails is reverted to
// not-routed while the user's intent stays saved.
class AppTapEngine final : public AppSource, public LatencySource, public Route {
 public:
  explicit AppTapEngine(EngineContext& context);
  // Stops every tap and unit and waits for the units' tear-down.
  ~AppTapEngine() override;

  // Installs the listeners, reads the apps, and arms those that are to be routed.
  void start();

  // Rows, one per app family.
  OwnedObservable<std::vector<TappedAppInfo>, AppTapEngine> availableApps;
  const Observable<std::optional<std::string>>& errorMessage() { return core_.failures.shown; }
  const TappedAppInfo* row(const std::string& bundleID) const;
  void refreshApps();
  void scheduleRefresh() { discovery_.scheduleRefresh(); }

  const Observable<std::vector<TappedAppInfo>>& rows() override { return availableApps; }

  // Which rows are shown; a change reads the apps anew.
  RowSets& visibility() { return rowSets_; }
  const RowSets& rowSets() const override { return rowSets_; }
  const Observable<std::set<std::string>>& hiddenBundleIDs() override { return rowSets_.hidden(); }

  // Routing of one app. Each answers false when nothing came of it: the app has no row, the bus is none that
  // apps route to, or the tap could not be made. The wish of an app that does not run is kept for its return.
  bool setRouted(const std::string& bundleID, bool routed);
  // Wished for, and its app does not run.
  bool isRouteWaiting(const std::string& bundleID) const;
  bool setBus(const std::string& bundleID, int bus);
  // A device of its own in place of its bus, while it is routed; without one, back to its bus.
  bool setOutput(const std::string& bundleID, const OutputWish& wish);
  bool setVolume(const std::string& bundleID, float volume);  // linear, held to 0 up to the maximum
  bool setMuted(const std::string& bundleID, bool muted);
  bool setMonitorVolume(const std::string& bundleID, float volume);
  bool setMonitorLinked(const std::string& bundleID, bool linked);
  // Volumes above 100 %. Turning it off lowers what is above and saves it.
  void setBoostAllowed(bool allowed);
  OwnedObservable<bool, AppTapEngine> boostAllowed{true};
  const Observable<bool>& boostPermission() override { return boostAllowed; }
  // Routing as a whole. Off stops every tap and keeps every wish; on arms the wished-for apps that run.
  bool isGlobalEnabled() const { return state_.isGlobalEnabled(); }
  // The apps that are routed whenever they run and routing is on.
  const std::set<std::string>& intendedBundleIDs() const { return state_.intended(); }
  void setGlobalEnabled(bool enabled);

  // Named routings. A profile takes the routed apps, running or not; applying it restores the whole routing:
  // apps that it does not name are un-routed, named ones that do not run are wished for.
  const Observable<std::vector<RoutingProfile>>& profiles() { return profiles_.profiles; }
  // Nothing for an empty name.
  std::optional<RoutingProfile> saveProfile(const std::string& name);
  // The same with a routing that comes from elsewhere.
  std::optional<RoutingProfile> addProfile(const std::string& name, std::vector<AppProfileEntry> apps) {
    return profiles_.save(name, std::move(apps));
  }
  // False when there is no such profile, or an app that runs could not be routed.
  bool applyProfile(const std::string& id);
  // What a profile would take now.
  std::vector<AppProfileEntry> routedApps();
  // As a profile of these apps. False when an app that runs could not be routed.
  bool applyRouting(const std::vector<AppProfileEntry>& apps);
  bool deleteProfile(const std::string& id) { return profiles_.remove(id); }

  // Writes what a volume drag has changed and not yet saved.
  void flushPendingSaves();

  // Effects of apps and bus masters.
  RoutingEffects& effects() override { return effects_; }
  // The plug-in chains of apps and buses sound here from now on. They outlive the engine.
  void host(PluginChains& chains) { chains_.host(chains); }

  // Which apps and buses are heard on the monitor.
  RoutingMonitors& monitors() { return monitors_; }

  // Everything routed on the monitor, and what nobody captures.
  RoutingMixMode& mixMode() { return mixMode_; }

  // What runs now. The tap of an app is null while it is not routed.
  std::shared_ptr<const SingleAppTap> tapOf(const std::string& bundleID) const {
    return core_.tapOf(bundleID);
  }
  bool isRouted(const std::string& bundleID) const override { return tapOf(bundleID) != nullptr; }
  std::vector<std::string> routedBundleIDs() const;
  // The apps that play into the bus.
  std::vector<std::string> appsOn(int bus) const;
  // Of the device of its own that the app plays on; nothing while it plays into its bus.
  std::optional<std::string> outputDeviceName(const std::string& bundleID) const;
  bool isBusRunning(int bus) const { return outputs_.isRunning(bus); }
  // Counts the starts and stops of buses.
  const Observable<int>& busChanges() const { return outputs_.changes; }
  // What the limiter of a bus does to its sound now, linear.
  float busLimiterGain(int bus) const;
  const SpectrumRing& busSpectrum(int bus) const;
  // Level of the mic send into a bus; above 0.001 it keeps the bus's unit running.
  // What of the microphone a bus gets, linear, 0 to 2; kept for the next start.
  void setMicSend(int bus, float gain);
  // Whether the bridge plays the microphone on its left and the sum of its apps on its right.
  void setDualMono(bool on);

  // Recording: what the render of a bus feeds, and the rate that a running file binds the bus to.
  void setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring);
  void setRecordingRate(std::function<std::optional<double>(int bus)> rate) {
    outputs_.recordingRate = std::move(rate);
  }
  // The unit's rate, else the bridge's nominal rate, else 48000.
  double busSampleRate(int bus) const;
  // Of whatever plays the tap.
  double sampleRateOf(const SingleAppTap& tap) const;

  // Meters are on screen: levels are copied into the rows.
  void setMetersVisible(bool visible);

  std::vector<RingReport> latencyRings() const override;

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  // Taps that the server knows no more are made anew.
  RouteHealthEntry check(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  // The engine's own tests look at what it is made of.
  friend struct RoutingInsides;

  void loadMicSends();
  TappedAppInfo* findRow(const std::string& bundleID);
  std::vector<TappedAppInfo> mergeRows(const std::vector<PendingAppFamily>& families);
  void readRows();
  void publishRows();
  void expectRoutes();
  // A tap could not be made: the row shows it, the intent stays.
  void revertRoute(const std::string& bundleID, ProcessID pid);
  void applyVolumes(const TappedAppInfo& row);
  // The wished-for apps that run without a tap, since none could be made when they appeared or changed.
  void retryRoutes();
  void retryRoutesSoon();
  // A row's tap started or stopped as the row's app is wished for now. False when a tap could not be made.
  bool reconcileRoute(const std::string& bundleID);
  // Values into the running tap. False when it was lost on the way.
  bool applyRowToTap(const std::string& bundleID);
  void updateRoute(TappedAppInfo& row, bool justAppeared);
  void endFailures(const std::vector<TappedAppInfo>& rows);
  void stopVanished(const std::vector<TappedAppInfo>& rows);
  void saveState();
  void saveVolumeSoon();
  void reconcileLevelTimer();
  void copyLevels();

  EngineContext& context_;
  RoutingCore core_;
  RowSets rowSets_;
  RoutingState state_;
  RoutingProfiles profiles_;
  RoutingEffects effects_;
  BusOutputs outputs_;
  TapLifecycle taps_;
  DeviceOutputs deviceOutputs_;
  RoutingChains chains_;
  RoutingMonitors monitors_;
  RoutingMixMode mixMode_;
  AppDiscovery discovery_;

  bool isRefreshing_ = false;
  std::array<ScopedTask, kBusCount> rateChecks_;
  ScopedTask volumeSaveDebounce_;
  ScopedTask routeRetry_;
  int failedRetries_ = 0;
  ScopedTask levelTimer_;
  bool metersVisible_ = false;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
