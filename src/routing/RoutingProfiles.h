#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Observable.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "routing/RoutingProfile.h"

namespace sonmere {

// The saved routings, in the order of their saving. Every change is written at once. Main thread.
class RoutingProfiles {
 public:
  static constexpr std::string_view kNamePrompt = "Enter a name for this routing profile.";
  static constexpr std::string_view kEmptyText =
      "No saved profiles. Enable apps and save a profile for quick switching.";

  // A list that can't be read counts as empty and is overwritten by the next change.
  RoutingProfiles(SettingsStore& settings, Runtime& runtime);

  OwnedObservable<std::vector<RoutingProfile>, RoutingProfiles> profiles;

  // Nothing for an empty name.
  std::optional<RoutingProfile> save(const std::string& name, std::vector<AppProfileEntry> apps);
  // False when there is none with this identifier.
  bool remove(const std::string& id);
  const RoutingProfile* find(const std::string& id) const;

 private:
  void set(std::vector<RoutingProfile> changed);

  SettingsStore& settings_;
  Runtime& runtime_;
};

}  // namespace sonmere
