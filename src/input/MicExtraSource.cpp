#include "input/MicExtraSource.h"

#include <nlohmann/json.hpp>

namespace sonmere {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MicExtraSource, id, label, channel, gain, isMuted, pan)

// Labels are a user's words, and need not be UTF-8.
std::string encodeExtraSources(const std::vector<MicExtraSource>& sources) {
  return nlohmann::json(sources).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<std::vector<MicExtraSource>> decodeExtraSources(std::string_view json) {
  try {
    return nlohmann::json::parse(json).get<std::vector<MicExtraSource>>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

}  // namespace sonmere
