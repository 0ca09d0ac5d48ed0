#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Time.h"

namespace sonmere {

// One app of a profile.
struct AppProfileEntry {
  std::string bundleID;
  float volume = 1.0f;  // linear
  bool isMuted = false;
  int busIndex = 0;

  bool operator==(const AppProfileEntry&) const = default;
};

// A named routing: the apps that are routed, and how. Holds no devices, monitors or effects.
struct RoutingProfile {
  std::string id;  // UUID
  std::string name;
  std::vector<AppProfileEntry> apps;
  Date createdAt;  // whole seconds

  bool operator==(const RoutingProfile&) const = default;
};

// The stored list: a JSON array of objects whose keys are the field names, the date in ISO 8601. A text with
// any other shape does not decode.
std::string encodeProfiles(const std::vector<RoutingProfile>& profiles);
std::optional<std::vector<RoutingProfile>> decodeProfiles(std::string_view json);

}  // namespace sonmere
