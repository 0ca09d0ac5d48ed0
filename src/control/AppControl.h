#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/AppState.h"
#include "control/VolumeRequest.h"

namespace sonmere {

// The apps: what they are, their volume, effects, routes and rows. Every app is named as matchApp allows.
// A volume or mute is that of the app's route while it is routed, else that of the mixer. Main thread.
class AppControl {
 public:
  explicit AppControl(ToneFerryApp& app) : app_(app) {}

  std::vector<AppState> list() const;
  // The identifiers of the apps that were taken off the list; unhide brings one back.
  std::vector<std::string> removed() const;
  // Of the apps that a tap holds, by identifier.
  std::map<std::string, AppMeters> meters() const;
  bool isAnyMetered() const;
  Outcome<AppState> get(const std::string& app) const;

  Outcome<AppChange> setVolume(const std::string& app, VolumeRequest request);
  Outcome<AppChange> setMuted(const std::string& app, SwitchRequest request);
  Outcome<AppChange> setEqualiser(const std::string& app, AppEQSettings settings);
  // Nothing turns it off.
  Outcome<AppChange> setLimiter(const std::string& app, std::optional<double> ceilingDb);
  Outcome<AppChange> setDirect(const std::string& app, bool direct);
  // Nothing takes its route away. The wish of an app that does not run is kept for its return, and so is
  // every wish while routing is off.
  Outcome<AppChange> route(const std::string& app, std::optional<int> bus);

  // A device that it plays on instead of on its bus, which routes it; nothing takes it back to the bus. A
  // device is named by its identifier or name, or any part that fits no other; channels count from 1. One
  // that does not have these channels plays the app on its first two, and the wish is kept.
  struct OutputRequest {
    std::string device;
    int left = 1;
    int right = 2;
  };
  Outcome<AppChange> setOutput(const std::string& app, const std::optional<OutputRequest>& request);

  // `automatic` is for the row of calls: it follows them again.
  enum class Row { hide, unhide, pin, unpin, remove, automatic };
  Outcome<AppChange> setRow(const std::string& app, Row change);

 private:
  AppTapEngine& engine() const { return *app_.appTapEngine(); }
  VolumeMixerEngine& mixer() const { return *app_.volumeMixerEngine(); }
  Outcome<std::string> find(const std::string& app) const;
  void noteIfUnheard(AppChange& change, const std::string& id) const;
  bool isRouted(const std::string& id) const;
  std::optional<AppOutputState> outputOf(const TappedAppInfo& row) const;
  Outcome<DeviceFacts> findOutput(const std::string& device) const;
  Outcome<AppChange> play(const std::string& id, const OutputWish& wish, std::vector<std::string> notes);
  AppState describe(const TappedAppInfo& row) const;
  AppState describe(const std::string& id) const;
  AppMeters metersOf(const SingleAppTap& tap, const std::string& id) const;
  AppMeters metersOf(const VolumeMixerTap& tap) const;
  std::optional<AppMeters> metersOf(const std::string& id) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
