#pragma once

#include <array>
#include <optional>
#include <string>

#include "audio/device/DriverInstaller.h"
#include "audio/engine/EngineContext.h"
#include "base/Observable.h"

namespace sonmere {

// Knows whether the virtual driver is on the disk, whether the server has its devices and whether anything
// sounds in them, and holds the sample rate that the user picked for them. Looks when the server tells of a
// change rather than on a clock. Main thread.
class DriverManager final : public Route {
 public:
  static constexpr std::array kRates{44100.0, 48000.0, 96000.0};  // Hz

  // `installer` may be null: a platform whose driver is no matter of files. It outlives the manager.
  DriverManager(EngineContext& context, DriverInstaller* installer);
  ~DriverManager() override;

  // Begins to follow the server.
  void launch();

  OwnedObservable<bool, DriverManager> isInstalled{false};
  OwnedObservable<bool, DriverManager> isActive{false};  // the server has the bridge
  OwnedObservable<bool, DriverManager> isAudioFlowing{
      false};  // anybody plays into the bridge or records from it
  OwnedObservable<double, DriverManager> selectedSampleRate{48000.0};
  OwnedObservable<std::optional<std::string>, DriverManager> pathWarning;

  // Anew from disk and server.
  void refreshStatus();
  // Kept, and applied to all devices. False for a rate that is none of kRates.
  bool setSampleRate(double rate);
  const DriverOnDisk& disk() const { return disk_; }

  void serverLost() override;
  void revalidate(RevalidationReason) override { refreshStatus(); }
  RouteHealthEntry health() const override;

 private:
  void lookAtDisk();
  void lookAtBridge();
  void follow(AudioDeviceID bridge);
  void restoreRate(AudioDeviceID bridge);
  bool mayRestore(AudioDeviceID bridge, double rate);
  void lookAtRate(AudioDeviceID bridge);
  void apply(double rate);
  void correctIn(Duration delay, ScopedTask& task);
  void correct();
  std::optional<double> busRate(int bus) const;

  EngineContext& context_;
  DriverInstaller* const installer_;
  DriverOnDisk disk_;
  std::optional<AudioDeviceID> deviceID_;
  std::optional<Duration> lastApply_;  // uptime
  std::optional<double> applyFrom_;
  Subscription devices_;
  PropertyListener running_;
  ScopedTask firstCorrection_, secondCorrection_, laterLook_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
