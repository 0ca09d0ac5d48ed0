#include "dsp/EffectSettingsCodec.h"

#include <nlohmann/json.hpp>

namespace sonmere {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AppEQSettings, isEnabled, highPassFreq, lowPassFreq, paraFreq, paraGain,
                                   paraQ)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AppLimiterSettings, isEnabled, ceilingDb)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MasterLimiterSettings, isEnabled, ceilingDb)

namespace {
template <class T>
std::optional<T> decode(std::string_view json) {
  try {
    return nlohmann::json::parse(json).get<T>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}
}  // namespace

std::string encodeJSON(const AppEQSettings& settings) { return nlohmann::json(settings).dump(); }
std::string encodeJSON(const AppLimiterSettings& settings) { return nlohmann::json(settings).dump(); }
std::string encodeJSON(const MasterLimiterSettings& settings) { return nlohmann::json(settings).dump(); }

template <>
std::optional<AppEQSettings> decodeJSON(std::string_view json) {
  return decode<AppEQSettings>(json);
}
template <>
std::optional<AppLimiterSettings> decodeJSON(std::string_view json) {
  return decode<AppLimiterSettings>(json);
}
template <>
std::optional<MasterLimiterSettings> decodeJSON(std::string_view json) {
  return decode<MasterLimiterSettings>(json);
}

}  // namespace sonmere
