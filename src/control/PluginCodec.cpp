#include "control/PluginCodec.h"

namespace sonmere {

namespace {

// "refused", "passed", or "untried".
const char* trialOf(const PluginOffer& offer) {
  if (!offer.refusal) return "untried";
  return offer.refusal->empty() ? "passed" : "refused";
}

ControlJSON encode(const EffectControl& control) {
  ControlJSON points = ControlJSON::array();
  for (const auto& point : control.points) points.push_back({{"label", point.label}, {"value", point.value}});
  return {{"symbol", control.symbol},
          {"name", control.name},
          {"unit", control.unit},
          {"minimum", control.minimum},
          {"maximum", control.maximum},
          {"initial", control.initial},
          {"toggle", control.isToggle},
          {"integer", control.isInteger},
          {"logarithmic", control.isLogarithmic},
          {"points", points}};
}

// The values that it has, else those that were asked for.
ControlJSON encode(const PluginChain::Plugin& plugin, int position, double sampleRate) {
  ControlJSON values = ControlJSON::object();
  for (const auto& [symbol, value] : plugin.values.empty() ? plugin.entry.values : plugin.values)
    values[symbol] = value;
  const bool isBroken = plugin.isFaulty || !plugin.problem.empty();
  const std::string problem = plugin.isFaulty ? "it took its process down again and again" : plugin.problem;
  return {{"position", position},
          {"plugin", plugin.entry.id},
          {"name", plugin.entry.name},
          {"manufacturer", plugin.entry.mfrName},
          {"bypassed", plugin.entry.bypassed},
          {"autoBypassed", plugin.autoBypassed},
          {"problem", isBroken ? ControlJSON(problem) : ControlJSON(nullptr)},
          {"latencyMs", sampleRate > 0 ? 1000.0 * plugin.latencyFrames / sampleRate : 0.0},
          {"values", values}};
}

}  // namespace

ControlJSON encodeControl(const PluginOffer& offer) {
  const AvailableEffect& effect = offer.effect;
  const std::string reason = !effect.obstacle.empty() ? effect.obstacle : offer.refusal.value_or("");
  return {{"plugin", effect.id},
          {"name", effect.name},
          {"manufacturer", effect.manufacturer},
          {"category", effect.category},
          {"trial", trialOf(offer)},
          {"obstacle", reason.empty() ? ControlJSON(nullptr) : ControlJSON(reason)}};
}

ControlJSON encodeControl(const PluginInfo& info) {
  ControlJSON all = encodeControl(info.offer);
  all["file"] = info.offer.effect.file;
  all["controls"] = ControlJSON::array();
  for (const EffectControl& control : info.controls) all["controls"].push_back(encode(control));
  all["presets"] = ControlJSON::array();
  for (const auto& preset : info.presets)
    all["presets"].push_back({{"preset", preset.id}, {"name", preset.name}});
  return all;
}

ControlJSON encodeControl(const PluginChainState& chain) {
  ControlJSON plugins = ControlJSON::array();
  for (std::size_t i = 0; i < chain.plugins.size(); ++i)
    plugins.push_back(encode(chain.plugins[i], int(i) + 1, chain.sampleRate));
  return {{"scope", chain.scope},         {"state", name(chain.state)},     {"trusted", chain.isTrusted},
          {"latencyMs", chain.latencyMs}, {"sampleRate", chain.sampleRate}, {"plugins", plugins}};
}

ControlJSON encodeControl(const PluginOverview& overview) {
  ControlJSON chains = ControlJSON::array();
  for (const PluginChainState& chain : overview.chains) chains.push_back(encodeControl(chain));
  return {{"chains", chains},
          {"error", overview.error ? ControlJSON(*overview.error) : ControlJSON(nullptr)}};
}

}  // namespace sonmere
