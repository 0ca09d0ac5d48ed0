#include "platform/effects/HelperCodec.h"

#include <stdexcept>

#include "base/Base64.h"

namespace sonmere {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AvailableEffect, id, name, manufacturer, category, file, fileStamp,
                                   obstacle)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(EffectControl::Point, label, value)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(EffectControl, symbol, name, unit, minimum, maximum, initial, isToggle,
                                   isInteger, isLogarithmic, points)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(EffectDetails::Preset, id, name)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(EffectDetails, effect, controls, presets)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ChainReport::Plugin, key, error, latencyFrames, autoBypassed, values)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ChainReport, plugins)

namespace {

std::string bytesOf(const HelperJSON& json) {
  auto bytes = fromBase64(json.get_ref<const std::string&>());
  if (!bytes) throw std::invalid_argument("not base64");
  return std::move(*bytes);
}

void to_json(HelperJSON& json, const ChainPlan::Plugin& plugin) {
  json = {{"key", plugin.key},
          {"id", plugin.id},
          {"state", toBase64(plugin.state)},
          {"values", plugin.values},
          {"bypassed", plugin.bypassed}};
}

ChainPlan::Plugin pluginOf(const HelperJSON& json) {
  return {json.at("key").get<int>(), json.at("id").get<std::string>(), bytesOf(json.at("state")),
          json.at("values").get<EffectValues>(), json.at("bypassed").get<bool>()};
}

template <class Read>
auto readOrNothing(Read read) -> std::optional<decltype(read())> {
  try {
    return read();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::string helperLine(const HelperJSON& message) {
  return message.dump(-1, ' ', false, HelperJSON::error_handler_t::replace) + "\n";
}

HelperJSON encodeHelper(const AvailableEffect& effect) { return effect; }
HelperJSON encodeHelper(const EffectDetails& details) { return details; }
HelperJSON encodeHelper(const ChainReport& report) { return report; }

HelperJSON encodeHelper(const ChainPlan& plan) {
  HelperJSON plugins = HelperJSON::array();
  for (const auto& plugin : plan.plugins) to_json(plugins.emplace_back(), plugin);
  return {{"sampleRate", plan.sampleRate}, {"plugins", plugins}};
}

HelperJSON encodeHelper(const std::map<int, std::string>& states) {
  HelperJSON json = HelperJSON::object();
  for (const auto& [key, state] : states) json[std::to_string(key)] = toBase64(state);
  return json;
}

template <>
std::optional<AvailableEffect> decodeHelper(const HelperJSON& json) {
  return readOrNothing([&] { return json.get<AvailableEffect>(); });
}
template <>
std::optional<EffectDetails> decodeHelper(const HelperJSON& json) {
  return readOrNothing([&] { return json.get<EffectDetails>(); });
}
template <>
std::optional<ChainReport> decodeHelper(const HelperJSON& json) {
  return readOrNothing([&] { return json.get<ChainReport>(); });
}
template <>
std::optional<ChainPlan> decodeHelper(const HelperJSON& json) {
  return readOrNothing([&] {
    ChainPlan plan{json.at("sampleRate").get<double>(), {}};
    for (const HelperJSON& each : json.at("plugins")) plan.plugins.push_back(pluginOf(each));
    return plan;
  });
}
template <>
std::optional<std::map<int, std::string>> decodeHelper(const HelperJSON& json) {
  return readOrNothing([&] {
    std::map<int, std::string> states;
    for (const auto& [key, state] : json.items()) states[std::stoi(key)] = bytesOf(state);
    return states;
  });
}

}  // namespace sonmere
