#pragma once

#include <map>
#include <set>
#include <string>

#include "apps/TappedAppInfo.h"
#include "base/SettingsStore.h"
#include "routing/RoutingProfile.h"

namespace sonmere {

// What the user set up per app, kept by family key, so that a row that reappears takes its values, whether or
// not its app runs now. `enabledApps` is the intent: a start that failed leaves it alone. Main thread.
class RoutingState {
 public:
  explicit RoutingState(SettingsStore& settings, bool boostAllowed);

  // Saved values into a row that has just appeared.
  void restore(TappedAppInfo& row) const;
  bool isIntended(const std::string& bundleID) const { return enabled_.contains(bundleID); }
  void setIntended(const std::string& bundleID, bool routed);
  const std::set<std::string>& intended() const { return enabled_; }
  // Whether apps are routed at all. Off leaves every intent alone.
  bool isGlobalEnabled() const { return isGlobalEnabled_; }
  void setGlobalEnabled(bool enabled) { isGlobalEnabled_ = enabled; }
  // An app as it stands, and as a profile wants it: routed, with the entry's values.
  AppProfileEntry entry(const std::string& bundleID) const;
  void adopt(const AppProfileEntry& entry);
  // Takes a row's values over; save() writes them.
  void note(const TappedAppInfo& row);
  // Lowers what is stored above the limit.
  void clampVolumes(bool boostAllowed);
  // All keys in one pass.
  void save();

 private:
  struct Saved {
    float volume = 1.0f;
    float monitorVolume = 1.0f;
    bool monitorLinked = true;
    bool isMuted = false;
    int busIndex = 0;
    std::optional<std::string> outputDeviceUID;
    int outputLeftChannel = 0;
    int outputRightChannel = 1;
  };

  SettingsStore& settings_;
  std::set<std::string> enabled_;
  bool isGlobalEnabled_ = true;
  std::map<std::string, Saved> rows_;
};

}  // namespace sonmere
