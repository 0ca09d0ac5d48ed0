#include "platform/lv2/Lv2Ports.h"

#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/resize-port/resize-port.h>

#include <algorithm>
#include <cmath>

#include "platform/lv2/Lv2World.h"

namespace sonmere {

namespace {

// For a port that names no size.
constexpr std::size_t kEventBytes = 16 * 1024, kMostEventBytes = 16 << 20;

float orElse(float value, float other) { return std::isfinite(value) ? value : other; }

std::size_t eventBytes(const Lv2World& world, const LilvPlugin* plugin, const LilvPort* port) {
  const LilvOwner<LilvNode> size(lilv_port_get(plugin, port, world.uri(LV2_RESIZE_PORT__minimumSize).get()));
  const int wanted = size && lilv_node_is_int(size.get()) ? lilv_node_as_int(size.get()) : 0;
  return std::clamp(std::size_t(std::max(wanted, 0)), kEventBytes, kMostEventBytes);
}

}  // namespace

Lv2Ports Lv2Ports::of(const Lv2World& world, const LilvPlugin* plugin, double sampleRate) {
  const auto audio = world.uri(LV2_CORE__AudioPort), control = world.uri(LV2_CORE__ControlPort),
             voltage = world.uri(LV2_CORE__CVPort), atom = world.uri(LV2_ATOM__AtomPort),
             input = world.uri(LV2_CORE__InputPort), optional = world.uri(LV2_CORE__connectionOptional),
             perRate = world.uri(LV2_CORE__sampleRate);
  const std::uint32_t count = lilv_plugin_get_num_ports(plugin);
  std::vector<float> least(count), most(count), initial(count);
  lilv_plugin_get_port_ranges_float(plugin, least.data(), most.data(), initial.data());
  Lv2Ports ports;
  for (std::uint32_t i = 0; i < count; ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(plugin, i);
    const auto is = [&](const auto& kind) { return lilv_port_is_a(plugin, port, kind.get()); };
    const bool isInput = is(input);
    if (is(audio)) {
      (isInput ? ports.audioInputs : ports.audioOutputs).push_back(i);
    } else if (is(voltage)) {
      (isInput ? ports.voltageInputs : ports.voltageOutputs).push_back(i);
    } else if (is(control) && isInput) {
      const float scale = lilv_port_has_property(plugin, port, perRate.get()) ? float(sampleRate) : 1.0f;
      const float low = orElse(least[i], 0) * scale;
      const float high = std::max(low, orElse(most[i], 1) * scale);
      ports.controls.push_back({i, lilv_node_as_string(lilv_port_get_symbol(plugin, port)), low, high,
                                std::clamp(orElse(initial[i] * scale, low), low, high)});
    } else if (is(control)) {
      ports.meters.push_back(i);
    } else if (is(atom)) {
      ports.events.push_back({i, eventBytes(world, plugin, port), isInput});
    } else {
      ports.others.push_back(i);
      ports.hasForeign |= !lilv_port_has_property(plugin, port, optional.get());
    }
  }
  return ports;
}

}  // namespace sonmere
