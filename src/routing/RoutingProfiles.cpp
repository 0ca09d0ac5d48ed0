#include "routing/RoutingProfiles.h"

#include <algorithm>
#include <chrono>

#include "base/UUID.h"

namespace sonmere {

namespace {

constexpr const char* kProfilesKey = "sonmere.perapp.profiles";

std::vector<RoutingProfile> stored(const SettingsStore& settings) {
  const auto json = settings.data(kProfilesKey);
  return json ? decodeProfiles(*json).value_or(std::vector<RoutingProfile>{}) : std::vector<RoutingProfile>{};
}

}  // namespace

RoutingProfiles::RoutingProfiles(SettingsStore& settings, Runtime& runtime)
    : profiles(stored(settings)), settings_(settings), runtime_(runtime) {}

void RoutingProfiles::set(std::vector<RoutingProfile> changed) {
  settings_.set(kProfilesKey, SettingsData{encodeProfiles(changed)});
  profiles.set(std::move(changed));
}

std::optional<RoutingProfile> RoutingProfiles::save(const std::string& name,
                                                    std::vector<AppProfileEntry> apps) {
  if (name.find_first_not_of(" \t\n") == std::string::npos) return std::nullopt;
  const Date now = std::chrono::floor<std::chrono::seconds>(runtime_.wallTime());
  RoutingProfile profile{makeUUID(runtime_), name, std::move(apps), now};
  auto changed = *profiles;
  changed.push_back(profile);
  set(std::move(changed));
  return profile;
}

bool RoutingProfiles::remove(const std::string& id) {
  auto changed = *profiles;
  if (std::erase_if(changed, [&](const RoutingProfile& profile) { return profile.id == id; }) == 0)
    return false;
  set(std::move(changed));
  return true;
}

const RoutingProfile* RoutingProfiles::find(const std::string& id) const {
  const auto found = std::ranges::find(*profiles, id, &RoutingProfile::id);
  return found == profiles->end() ? nullptr : &*found;
}

}  // namespace sonmere
