#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/OutputRunner.h"
#include "audio/engine/RenderWatchdog.h"
#include "audio/engine/Route.h"
#include "base/Observable.h"

namespace sonmere {

// Plays what is routed into the virtual devices on a physical one, so that the user hears it: the sum of all
// monitor sources that are on. The unit runs while there is one. Main thread.
class MonitorOutput final : public Route {
 public:
  static constexpr const char* kSystemDefault = "System Default";

  explicit MonitorOutput(EngineContext& context);
  // Waits for the tear-down of its unit.
  ~MonitorOutput() override;

  // Follows devices and sources from now on. Once.
  void launch();

  OwnedObservable<bool, MonitorOutput> monitorRunning{false};
  // What can be chosen: outputs that are none of the program's own.
  OwnedObservable<std::vector<CoreAudioUtils::OutputDevice>, MonitorOutput> availableMonitorDevices;
  // The chosen device; with none chosen the default output is followed.
  OwnedObservable<std::optional<AudioDeviceID>, MonitorOutput> monitorOutputDeviceID;
  OwnedObservable<std::string, MonitorOutput> monitorOutputDeviceName{kSystemDefault};
  // Why it does not run though it should.
  OwnedObservable<std::optional<std::string>, MonitorOutput> errorMessage;

  // False when there is no such device. The choice is kept, also while the device is away; then the monitor
  // is silent, for what was meant for headphones must not come out of loudspeakers.
  bool select(const std::string& uid);
  void followDefault();
  bool isFollowing() const { return chosenUID_.empty(); }
  const std::string& chosenUID() const { return chosenUID_; }

  // Of the unit while it runs, else none and 0.
  AudioDeviceID device() const { return runner_.device(); }
  double sampleRate() const { return runner_.sampleRate(); }

  void serverLost() override;
  void suspend() override;
  void revalidate(RevalidationReason reason) override;
  // A start that failed is tried again.
  RouteHealthEntry check(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  OutputRunner::Plan plan();
  std::optional<AudioDeviceID> wantedDevice() const;
  double bridgeRate() const;
  bool isWanted() const { return *context_.monitors.enabledCount > 0; }
  void choose(const std::string& uid, const std::string& name);
  void reconcile();
  void start();
  void stop();
  void restart();
  void fail(const std::string& message);
  std::string textOf(const OutputFailure& failure) const;
  void listen();
  void scheduleRebuild(const char* reason);
  void readDevices();

  EngineContext& context_;
  std::string chosenUID_;
  OutputRunner runner_;
  RenderWatchdog watchdog_;
  PropertyListener rateListener_, lifeListener_, sourceListener_;
  PropertyListener monitorDefaultListener_, monitorBridgeRateListener_;
  ScopedTask rebuild_;
  Subscription sources_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
