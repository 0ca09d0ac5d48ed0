#include "ui/model/PluginsModel.h"

#include "ui/model/Decode.h"

namespace sonmere {
namespace {

template <class JSON>
QString textAt(const JSON& json, const char* name) {
  return QString::fromStdString(memberOr<std::string>(json, name, {}));
}

template <class JSON, class Visit>
void visitList(const JSON& json, const char* name, Visit visit) {
  const auto found = json.is_object() ? json.find(name) : json.end();
  if (!json.is_object() || found == json.end() || !found->is_array()) return;
  for (const auto& each : *found) {
    if (each.is_object()) visit(each);
  }
}

PluginView decodePlugin(const TopicJSON& json) {
  PluginView plugin;
  plugin.uri = textAt(json, "plugin");
  plugin.name = textAt(json, "name");
  if (plugin.name.isEmpty()) plugin.name = plugin.uri;
  plugin.maker = textAt(json, "manufacturer");
  plugin.problem = textAt(json, "problem");
  plugin.isBypassed = memberOr(json, "bypassed", false);
  plugin.isAutoBypassed = memberOr(json, "autoBypassed", false);
  plugin.latencyMs = memberOr(json, "latencyMs", 0.0);
  for (const auto& [symbol, value] : objectAt(json, "values").items()) {
    if (value.is_number()) plugin.values[QString::fromStdString(symbol)] = value.get<double>();
  }
  return plugin;
}

PluginChainView decodeChain(const TopicJSON& json) {
  PluginChainView chain;
  chain.state = textAt(json, "state");
  chain.isTrusted = memberOr(json, "trusted", false);
  chain.latencyMs = memberOr(json, "latencyMs", 0.0);
  visitList(json, "plugins", [&](const TopicJSON& each) { chain.plugins.push_back(decodePlugin(each)); });
  return chain;
}

PluginControlView decodeControl(const ControlJSON& json) {
  PluginControlView control;
  control.symbol = textAt(json, "symbol");
  control.name = textAt(json, "name");
  control.unit = textAt(json, "unit");
  control.minimum = memberOr(json, "minimum", 0.0);
  control.maximum = memberOr(json, "maximum", 1.0);
  control.initial = memberOr(json, "initial", 0.0);
  control.isToggle = memberOr(json, "toggle", false);
  control.isInteger = memberOr(json, "integer", false);
  control.isLogarithmic = memberOr(json, "logarithmic", false);
  visitList(json, "points", [&](const ControlJSON& each) {
    control.points.push_back({textAt(each, "label"), memberOr(each, "value", 0.0)});
  });
  return control;
}

PluginInfoView decodeInfo(const ControlJSON& json) {
  PluginInfoView info;
  visitList(json, "controls", [&](const ControlJSON& each) { info.controls.push_back(decodeControl(each)); });
  visitList(json, "presets", [&](const ControlJSON& each) { info.presets << textAt(each, "name"); });
  return info;
}

}  // namespace

PluginsModel::PluginsModel(ServiceLink& link) : link_(link) {
  connect(&link, &ServiceLink::told, this, &PluginsModel::take);
  // Another service may know other plug-ins.
  connect(&link, &ServiceLink::stateChanged, this, [this] { infos_.clear(); });
}

void PluginsModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::plugins) return;
  chains_.clear();
  visitInOrder(value, "chains", [this](const std::string& scope, const TopicJSON& chain) {
    chains_[QString::fromStdString(scope)] = decodeChain(chain);
  });
  const QString trouble = textAt(objectAt(value, "facts"), "error");
  emit changed();
  if (trouble == trouble_) return;
  trouble_ = trouble;
  emit troubled(trouble_);
}

PluginChainView PluginsModel::chain(const QString& scope) const {
  const auto found = chains_.find(scope);
  return found == chains_.end() ? PluginChainView{} : found->second;
}

// A refusal moves the controls back.
ServiceLink::Answer PluginsModel::answer(const QString& scope) {
  return [this, scope](const Outcome<ControlJSON>& result) {
    emit answered(scope, result ? QString() : QString::fromStdString(result.error().description));
    if (!result) emit changed();
  };
}

ControlJSON PluginsModel::on(const QString& scope, int place) const {
  return {{"scope", scope.toStdString()}, {"plugin", std::to_string(place)}};
}

void PluginsModel::call(const QString& scope, const std::string& method, const ControlJSON& params) {
  link_.call(method, params, answer(scope));
}

void PluginsModel::askForOffers() {
  link_.call("plugins.available", ControlJSON::object(), [this](const Outcome<ControlJSON>& result) {
    if (!result) return emit answered({}, QString::fromStdString(result.error().description));
    std::vector<PluginOfferView> offers;
    visitList(ControlJSON{{"all", *result}}, "all", [&](const ControlJSON& each) {
      offers.push_back({textAt(each, "plugin"), textAt(each, "name"), textAt(each, "manufacturer"),
                        textAt(each, "category"), textAt(each, "obstacle")});
    });
    emit offersCame(offers);
  });
}

void PluginsModel::askForInfo(const QString& uri) {
  if (const auto known = infos_.find(uri); known != infos_.end()) return emit infoCame(uri, known->second);
  link_.call("plugin.info", {{"plugin", uri.toStdString()}}, [this, uri](const Outcome<ControlJSON>& result) {
    if (!result) return emit answered({}, QString::fromStdString(result.error().description));
    emit infoCame(uri, infos_[uri] = decodeInfo(*result));
  });
}

void PluginsModel::add(const QString& scope, const QString& uri) {
  call(scope, "plugin.add", {{"scope", scope.toStdString()}, {"plugin", uri.toStdString()}});
}
void PluginsModel::remove(const QString& scope, int place) { call(scope, "plugin.remove", on(scope, place)); }
void PluginsModel::move(const QString& scope, int from, int to) {
  ControlJSON params = on(scope, from);
  params["position"] = to;
  call(scope, "plugin.move", params);
}
void PluginsModel::setBypassed(const QString& scope, int place, bool bypassed) {
  ControlJSON params = on(scope, place);
  params["bypassed"] = bypassed;
  call(scope, "plugin.bypass", params);
}
void PluginsModel::setControl(const QString& scope, int place, const QString& symbol, double value) {
  ControlJSON params = on(scope, place);
  params["control"] = symbol.toStdString();
  // As the service reads numbers, whatever the user's language is.
  params["value"] = QString::number(value, 'g', 9).toStdString();
  link_.callLatest(
      "plug-in " + scope.toStdString() + " " + std::to_string(place) + " " + symbol.toStdString(),
      "plugin.set", params, answer(scope));
}
void PluginsModel::setPreset(const QString& scope, int place, const QString& preset) {
  ControlJSON params = on(scope, place);
  params["preset"] = preset.toStdString();
  call(scope, "plugin.preset", params);
}
void PluginsModel::setTrusted(const QString& scope, bool trusted) {
  call(scope, "plugin.trust", {{"scope", scope.toStdString()}, {"trusted", trusted}});
}

}  // namespace sonmere
