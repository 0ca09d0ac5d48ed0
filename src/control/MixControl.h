#pragma once

#include <string>

#include "app/ToneFerryApp.h"
#include "control/AppControl.h"
#include "control/MixState.h"
#include "control/MonitorControl.h"
#include "control/VolumeRequest.h"

namespace sonmere {

// Mix Mode. An app is named as matchApp allows. Main thread.
class MixControl {
 public:
  explicit MixControl(ToneFerryApp& app) : app_(app), apps_(app), monitor_(app) {}

  MixState state() const;

  // On ends the passthrough of the system's sound.
  Outcome<MixChange> setEnabled(bool enabled);
  // How loud an app is on the monitor, which ends its link, and on its bus.
  Outcome<MixChange> setHear(const std::string& app, VolumeRequest request);
  Outcome<MixChange> setStream(const std::string& app, VolumeRequest request);
  Outcome<MixChange> setLinked(const std::string& app, bool linked);
  Outcome<MixChange> setCatchAll(bool includes);
  Outcome<MixChange> setCatchAllVolume(VolumeRequest request);
  Outcome<MixChange> setAudition(bool auditions);
  Outcome<MixChange> setHearsTracks(bool hears);
  Outcome<MixChange> setTrackVolume(int track, VolumeRequest request);
  Outcome<MixChange> setTrackMuted(int track, bool muted);

 private:
  MixModeEngine& mix() const { return *app_.mixModeEngine(); }
  AppTapEngine& routing() const { return *app_.appTapEngine(); }
  // Notes where what was set is heard only later.
  MixChange change(std::vector<std::string> notes = {}) const;
  MixChange trackChange(std::vector<std::string> notes = {}) const;

  ToneFerryApp& app_;
  AppControl apps_;
  MonitorControl monitor_;
};

}  // namespace sonmere
