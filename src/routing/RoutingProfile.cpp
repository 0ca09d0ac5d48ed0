#include "routing/RoutingProfile.h"

#include <nlohmann/json.hpp>

#include "base/DateText.h"

namespace sonmere {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AppProfileEntry, bundleID, volume, isMuted, busIndex)

// Found by the library through the record's namespace.
static void to_json(nlohmann::json& json, const RoutingProfile& profile) {
  json = {{"id", profile.id},
          {"name", profile.name},
          {"apps", profile.apps},
          {"createdAt", iso8601Text(profile.createdAt)}};
}

static void from_json(const nlohmann::json& json, RoutingProfile& profile) {
  json.at("id").get_to(profile.id);
  json.at("name").get_to(profile.name);
  json.at("apps").get_to(profile.apps);
  const auto date = dateFromISO8601(json.at("createdAt").get<std::string>());
  if (!date) throw nlohmann::json::type_error::create(302, "createdAt is no date", &json);
  profile.createdAt = *date;
}

std::string encodeProfiles(const std::vector<RoutingProfile>& profiles) {
  return nlohmann::json(profiles).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<std::vector<RoutingProfile>> decodeProfiles(std::string_view json) {
  try {
    return nlohmann::json::parse(json).get<std::vector<RoutingProfile>>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace sonmere
