#pragma once

#include <map>
#include <string>

#include "apps/ClientGains.h"
#include "base/Observable.h"
#include "base/SettingsStore.h"

namespace sonmere {

// What the virtual driver is to show and apply: the names of its Tracks, and gains for clients whose sound
// can only be changed where it passes through the bridge. Kept in the settings, from where a driver takes
// them, and observable. Main thread.
class TrackNamesStore final : public ClientGains {
 public:
  explicit TrackNamesStore(SettingsStore& settings);

  // By bus, 2 to 9; a Track without an entry keeps its own name.
  OwnedObservable<std::map<int, std::string>, TrackNamesStore> trackNames;
  // Linear, by bundle identifier; a client without an entry plays as it is.
  OwnedObservable<std::map<std::string, float>, TrackNamesStore> clientGains;

  // An empty name takes the entry away. False for a bus that is no Track.
  bool setTrackName(int bus, const std::string& name);
  const std::map<std::string, float>& gains() const override { return *clientGains; }
  void setClientGains(std::map<std::string, float> gains) override;
  // Writes and tells both once more: after a restart of the driver.
  void reapply();

 private:
  void writeTrackNames();
  void writeClientGains();

  SettingsStore& settings_;
};

}  // namespace sonmere
