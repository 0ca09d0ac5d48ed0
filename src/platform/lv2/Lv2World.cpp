#include "platform/lv2/Lv2World.h"

#include <fmt/format.h>
#include <lv2/core/lv2.h>
#include <lv2/port-props/port-props.h>
#include <lv2/presets/presets.h>
#include <lv2/units/units.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/lv2/Lv2Features.h"
#include "platform/lv2/Lv2Ports.h"

namespace sonmere {

namespace {

std::string textOf(const LilvNode* node) {
  const char* const text = node ? lilv_node_as_string(node) : nullptr;
  return text ? text : "";
}

std::string take(LilvNode* node) { return textOf(LilvOwner<LilvNode>(node).get()); }

// By a state's URI that is nobody's: it is kept as text.
constexpr const char* kStateURI = "urn:sonmere:state";

}  // namespace

Lv2World::Lv2World() : world_(lilv_world_new()) { lilv_world_load_all(get()); }

const LilvPlugin* Lv2World::find(const std::string& id) const {
  const auto node = uri(id.c_str());
  return node ? lilv_plugins_get_by_uri(lilv_world_get_all_plugins(get()), node.get()) : nullptr;
}

std::vector<const LilvPlugin*> Lv2World::all() const {
  std::vector<const LilvPlugin*> found;
  const LilvPlugins* plugins = lilv_world_get_all_plugins(get());
  LILV_FOREACH(plugins, i, plugins) found.push_back(lilv_plugins_get(plugins, i));
  return found;
}

std::string Lv2World::stampOf(const std::string& file) {
  struct stat facts {};
  if (file.empty() || stat(file.c_str(), &facts) != 0) return {};
  return fmt::format("{}.{:09}-{}", facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec, facts.st_size);
}

AvailableEffect Lv2World::identify(const LilvPlugin* plugin) const {
  AvailableEffect effect;
  effect.id = textOf(lilv_plugin_get_uri(plugin));
  // As the manifest says: to ask the plug-in would read its whole description.
  const LilvOwner<LilvNode> library(
      lilv_world_get(get(), lilv_plugin_get_uri(plugin), uri(LV2_CORE__binary).get(), nullptr));
  if (char* path = library ? lilv_file_uri_parse(lilv_node_as_uri(library.get()), nullptr) : nullptr) {
    effect.file = path;
    lilv_free(path);
  }
  effect.fileStamp = stampOf(effect.file);
  return effect;
}

AvailableEffect Lv2World::describe(const LilvPlugin* plugin) const {
  AvailableEffect effect = identify(plugin);
  effect.name = take(lilv_plugin_get_name(plugin));
  effect.manufacturer = take(lilv_plugin_get_author_name(plugin));
  const LilvPluginClass* kind = lilv_plugin_get_class(plugin);
  // The class of all plug-ins says nothing.
  if (kind && kind != lilv_world_get_plugin_class(get()))
    effect.category = textOf(lilv_plugin_class_get_label(kind));
  effect.obstacle = obstacle(plugin);
  return effect;
}

std::string Lv2World::obstacle(const LilvPlugin* plugin) const {
  if (!lilv_plugin_verify(plugin)) return "its description is damaged";
  std::string missing;
  LilvNodes* required = lilv_plugin_get_required_features(plugin);
  LILV_FOREACH(nodes, i, required) {
    const char* const feature = lilv_node_as_uri(lilv_nodes_get(required, i));
    if (feature && !Lv2Features::isSupported(feature)) missing = feature;
  }
  lilv_nodes_free(required);
  if (!missing.empty()) return "it needs what this host has not: " + missing;
  const Lv2Ports ports = Lv2Ports::of(*this, plugin, 48000);
  if (ports.audioInputs.empty()) return "it takes no sound";
  if (ports.audioOutputs.empty()) return "it gives no sound";
  return ports.hasForeign ? "it has a port of an unknown kind" : "";
}

std::string Lv2World::unit(const LilvPlugin* plugin, const LilvPort* port) const {
  const LilvOwner<LilvNode> unit(lilv_port_get(plugin, port, uri(LV2_UNITS__unit).get()));
  if (!unit) return {};
  const LilvOwner<LilvNode> symbol(lilv_world_get(get(), unit.get(), uri(LV2_UNITS__symbol).get(), nullptr));
  if (symbol) return textOf(symbol.get());
  // Those of LV2 itself are not always loaded; their names are their symbols.
  const std::string text = textOf(unit.get()), prefix = LV2_UNITS_PREFIX;
  if (!text.starts_with(prefix)) return {};
  const std::string name = text.substr(prefix.size());
  return name == "db" ? "dB" : name == "hz" ? "Hz" : name == "khz" ? "kHz" : name == "pc" ? "%" : name;
}

EffectControl Lv2World::control(const LilvPlugin* plugin, const LilvPort* port) const {
  EffectControl made;
  made.symbol = textOf(lilv_port_get_symbol(plugin, port));
  made.name = take(lilv_port_get_name(plugin, port));
  made.unit = unit(plugin, port);
  const auto has = [&](const char* property) {
    return lilv_port_has_property(plugin, port, uri(property).get());
  };
  made.isToggle = has(LV2_CORE__toggled);
  made.isInteger = has(LV2_CORE__integer) || has(LV2_CORE__enumeration);
  made.isLogarithmic = has(LV2_PORT_PROPS__logarithmic);
  LilvScalePoints* points = lilv_port_get_scale_points(plugin, port);
  LILV_FOREACH(scale_points, i, points) {
    const LilvScalePoint* point = lilv_scale_points_get(points, i);
    made.points.push_back(
        {textOf(lilv_scale_point_get_label(point)), lilv_node_as_float(lilv_scale_point_get_value(point))});
  }
  lilv_scale_points_free(points);
  std::ranges::sort(made.points, {}, &EffectControl::Point::value);
  return made;
}

std::vector<EffectControl> Lv2World::controls(const LilvPlugin* plugin) const {
  std::vector<EffectControl> all;
  for (const Lv2Ports::Control& port : Lv2Ports::of(*this, plugin, 48000).controls) {
    EffectControl made = control(plugin, lilv_plugin_get_port_by_index(plugin, port.index));
    made.minimum = port.minimum;
    made.maximum = port.maximum;
    made.initial = port.initial;
    all.push_back(std::move(made));
  }
  return all;
}

std::vector<EffectDetails::Preset> Lv2World::presets(const LilvPlugin* plugin) const {
  std::vector<EffectDetails::Preset> all;
  LilvNodes* found = lilv_plugin_get_related(plugin, uri(LV2_PRESETS__Preset).get());
  LILV_FOREACH(nodes, i, found) {
    const LilvNode* preset = lilv_nodes_get(found, i);
    lilv_world_load_resource(get(), preset);
    const LilvOwner<LilvNode> label(lilv_world_get(get(), preset, uri(LILV_NS_RDFS "label").get(), nullptr));
    all.push_back({textOf(preset), label ? textOf(label.get()) : textOf(preset)});
  }
  lilv_nodes_free(found);
  std::ranges::sort(all, {}, &EffectDetails::Preset::name);
  return all;
}

EffectDetails Lv2World::details(const LilvPlugin* plugin) const {
  return {describe(plugin), controls(plugin), presets(plugin)};
}

Outcome<std::string> Lv2World::presetState(const std::string& preset) {
  const auto node = uri(preset.c_str());
  if (node) lilv_world_load_resource(get(), node.get());
  const LilvOwner<LilvState> state(node ? lilv_state_new_from_world(get(), urids().mapFeature(), node.get())
                                        : nullptr);
  if (!state) return std::unexpected(Error{"Plugins", 12, "there is no preset \"" + preset + "\""});
  char* const text = lilv_state_to_string(get(), urids().mapFeature(), urids().unmapFeature(), state.get(),
                                          kStateURI, nullptr);
  const std::string kept = text ? text : "";
  lilv_free(text);
  return kept;
}

}  // namespace sonmere
