#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "base/Log.h"
#include "base/SettingsStore.h"
#include "dsp/AppEQSettings.h"
#include "mixer/VolumeMixerAppState.h"

namespace sonmere {

// The mixer's part of the settings. What can't be read counts as absent. Main thread.
class VolumeMixerStore {
 public:
  VolumeMixerStore(SettingsStore& settings, Log& log) : settings_(settings), log_(log) {}

  bool isEnabled() const;
  void setEnabled(bool enabled);
  // Boost above 100 %; absent counts as allowed.
  bool boostAllowed() const;

  // Volumes are held to the limit that holds now.
  std::map<std::string, VolumeMixerAppState> appsState() const;
  // A failure is logged and leaves what was stored.
  void setAppsState(const std::map<std::string, VolumeMixerAppState>& states);
  float masterVolume() const;
  void setMasterVolume(float volume);

  std::set<std::string> directApps() const;
  void setDirectApps(const std::set<std::string>& bundleIDs);
  std::set<std::string> dawHintSeen() const;
  void setDAWHintSeen(const std::set<std::string>& bundleIDs);

  AppEQSettings outputEQ() const;
  void setOutputEQ(const AppEQSettings& settings);

 private:
  SettingsStore& settings_;
  Log& log_;
};

}  // namespace sonmere
