#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/TappedAppInfo.h"
#include "routing/BusOutputs.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// The device that the user wishes for, if it is there and none of the program's own.
AudioDeviceID presentDevice(AudioHardware& hardware, const OutputWish& wish);

// Starts, stops and rebuilds the taps of routed apps and publishes them to the bus renders. Main thread.
class TapLifecycle {
 public:
  TapLifecycle(RoutingCore& core, BusOutputs& outputs);
  ~TapLifecycle();

  // Loads the stored effects of an app into its new tap.
  std::function<void(SingleAppTap&)> loadEffects;
  // Told after each change of the set of taps.
  std::function<void()> tapsDidChange;
  bool mixModeIsEnabled = false;

  // Told when a tap that ran is gone because it could not be made anew.
  std::function<void(const SingleAppTap&)> tapLost;

  // Whether an app's tap feeds its monitor.
  std::function<bool(const std::string& bundleID)> isMonitored;

  // The full creation with roll-back; a failure leaves errorMessage set and nothing behind.
  bool startTap(const TappedAppInfo& app);
  void stopTap(const std::string& bundleID);
  // Makes the platform objects of a live tap anew; ring, effects and meters survive. On failure the tap
  // stops and is lost.
  bool rebuildTap(const std::string& bundleID, bool muted);
  // For a tap that delivers only silence.
  void healTap(const std::string& bundleID);
  // Whether the app's own output must be silent while tapped.
  bool wantsMutedTap(const SingleAppTap& tap) const;
  // Rebuilds the tap if its mute rule has changed.
  bool applyMuteRule(const std::string& bundleID);
  // Rebuilds taps whose platform objects the server no longer knows.
  void recheckTaps();

  // From its bus to a device, to another one or back (kAudioObjectUnknown): made anew, so that the mute rule
  // and the cycle of its capture are those of the place. False when that could not be.
  bool moveToDevice(const std::string& bundleID, AudioDeviceID device);
  // A move to another bus, published at once.
  void moveTap(const std::string& bundleID, int bus);
  void matchRates(int bus);
  // Which taps each bus renders.
  void publish();

 private:
  bool checkPlatform(const std::string& bundleID);
  bool createPlatformObjects(SingleAppTap& tap, bool muted);
  TapAggregatePlan makePlan(SingleAppTap& tap, bool muted);
  void reportFailure(const SingleAppTap& tap, const TapAggregateFailure& failure);
  void matchRate(const SingleAppTap& tap);
  // The wish for a device, and the device if it is there.
  void adoptOutput(SingleAppTap& tap, const TappedAppInfo& app);

  RoutingCore& core_;
  BusOutputs& outputs_;
};

}  // namespace sonmere
