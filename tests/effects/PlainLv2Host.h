#pragma once

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/parameters/parameters.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sonmere {

// A plug-in run alone in the plainest way, to compare with: what it needs for sound, its own defaults, blocks
// of one size, and work done at once.
class PlainLv2Host {
 public:
  using Planes = std::array<std::vector<float>, 2>;

  PlainLv2Host() : world_(lilv_world_new()) { lilv_world_load_all(world_); }
  ~PlainLv2Host() { lilv_world_free(world_); }

  bool has(const char* id) const { return find(id) != nullptr; }

  // What comes of the input; nothing where the plug-in can't be run this way.
  std::optional<Planes> render(const char* id, double rate, std::uint32_t block, const Planes& input) {
    const LilvPlugin* plugin = find(id);
    Planes output{std::vector<float>(input[0].size()), std::vector<float>(input[0].size())};
    const auto inputs = ports(plugin, LV2_CORE__AudioPort, LV2_CORE__InputPort),
               outputs = ports(plugin, LV2_CORE__AudioPort, LV2_CORE__OutputPort);
    const bool isSingle = inputs.size() == 1 && outputs.size() == 1;
    for (std::size_t voice = 0; voice < (isSingle ? 2u : 1u); ++voice)
      if (!run(plugin, rate, block, inputs, outputs, isSingle ? voice : 2, input, output))
        return std::nullopt;
    if (!isSingle && outputs.size() == 1) output[1] = output[0];
    return output;
  }

 private:
  const LilvPlugin* find(const char* id) const {
    LilvNode* node = lilv_new_uri(world_, id);
    const LilvPlugin* found = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world_), node);
    lilv_node_free(node);
    return found;
  }
  std::vector<std::uint32_t> ports(const LilvPlugin* plugin, const char* kind, const char* direction) const {
    LilvNode *a = lilv_new_uri(world_, kind), *b = lilv_new_uri(world_, direction);
    std::vector<std::uint32_t> found;
    for (std::uint32_t i = 0; i < lilv_plugin_get_num_ports(plugin); ++i) {
      const LilvPort* port = lilv_plugin_get_port_by_index(plugin, i);
      if (lilv_port_is_a(plugin, port, a) && lilv_port_is_a(plugin, port, b)) found.push_back(i);
    }
    lilv_node_free(a);
    lilv_node_free(b);
    return found;
  }
  LV2_URID number(const char* uri) {
    return numbers_.try_emplace(uri, LV2_URID(numbers_.size() + 1)).first->second;
  }

  bool run(const LilvPlugin* plugin, double rate, std::uint32_t block,
           const std::vector<std::uint32_t>& inputs, const std::vector<std::uint32_t>& outputs,
           std::size_t side, const Planes& input, Planes& output) {
    LV2_URID_Map map{this, [](LV2_URID_Map_Handle self, const char* uri) {
                       return static_cast<PlainLv2Host*>(self)->number(uri);
                     }};
    LV2_URID_Unmap unmap{this, [](LV2_URID_Unmap_Handle self, LV2_URID urid) -> const char* {
                           for (const auto& [uri, n] : static_cast<PlainLv2Host*>(self)->numbers_)
                             if (n == urid) return uri.c_str();
                           return nullptr;
                         }};
    const std::int32_t least = 1, most = 4096, nominal = 1024, sequence = 16384;
    const float realRate = float(rate);
    const LV2_URID whole = number(LV2_ATOM__Int), real = number(LV2_ATOM__Float);
    const auto option = [&](const char* key, LV2_URID type, const void* value) {
      return LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, number(key), 4, type, value};
    };
    const LV2_Options_Option options[] = {option(LV2_BUF_SIZE__minBlockLength, whole, &least),
                                          option(LV2_BUF_SIZE__maxBlockLength, whole, &most),
                                          option(LV2_BUF_SIZE__nominalBlockLength, whole, &nominal),
                                          option(LV2_BUF_SIZE__sequenceSize, whole, &sequence),
                                          option(LV2_PARAMETERS__sampleRate, real, &realRate),
                                          {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
    struct Work {
      std::vector<std::vector<char>> asked;
    } work;
    LV2_Worker_Schedule schedule{
        &work, [](LV2_Worker_Schedule_Handle handle, std::uint32_t bytes, const void* data) {
          const char* const from = static_cast<const char*>(data);
          static_cast<Work*>(handle)->asked.emplace_back(from, from + bytes);
          return LV2_WORKER_SUCCESS;
        }};
    const LV2_Feature features[] = {{LV2_URID__map, &map},
                                    {LV2_URID__unmap, &unmap},
                                    {LV2_OPTIONS__options, const_cast<LV2_Options_Option*>(options)},
                                    {LV2_BUF_SIZE__boundedBlockLength, nullptr},
                                    {LV2_WORKER__schedule, &schedule}};
    const LV2_Feature* list[] = {&features[0], &features[1], &features[2],
                                 &features[3], &features[4], nullptr};
    LilvInstance* instance = lilv_plugin_instantiate(plugin, rate, list);
    if (!instance) return false;
    const std::uint32_t count = lilv_plugin_get_num_ports(plugin);
    std::vector<float> low(count), high(count), values(count);
    lilv_plugin_get_port_ranges_float(plugin, low.data(), high.data(), values.data());
    LilvNode *atom = lilv_new_uri(world_, LV2_ATOM__AtomPort),
             *in = lilv_new_uri(world_, LV2_CORE__InputPort),
             *perRate = lilv_new_uri(world_, LV2_CORE__sampleRate);
    std::vector<std::vector<char>> events(count);
    std::vector<float> spare(2 * 4096);
    for (std::uint32_t i = 0; i < count; ++i) {
      const LilvPort* port = lilv_plugin_get_port_by_index(plugin, i);
      if (values[i] != values[i]) values[i] = low[i] == low[i] ? low[i] : 0;
      // There are plug-ins that read what they have not written yet.
      if (!lilv_port_is_a(plugin, port, in)) values[i] = 0;
      if (lilv_port_has_property(plugin, port, perRate)) values[i] *= realRate;
      lilv_instance_connect_port(instance, i, &values[i]);
      if (lilv_port_is_a(plugin, port, atom)) {
        events[i].resize(1 << 20);
        lilv_instance_connect_port(instance, i, events[i].data());
      }
    }
    for (const auto& kind : {inputs, ports(plugin, LV2_CORE__CVPort, LV2_CORE__InputPort)})
      for (const std::uint32_t i : kind) lilv_instance_connect_port(instance, i, spare.data());
    for (const auto& kind : {outputs, ports(plugin, LV2_CORE__CVPort, LV2_CORE__OutputPort)})
      for (const std::uint32_t i : kind) lilv_instance_connect_port(instance, i, spare.data() + 4096);
    const auto* const worker = static_cast<const LV2_Worker_Interface*>(
        lilv_instance_get_extension_data(instance, LV2_WORKER__interface));
    lilv_instance_activate(instance);
    for (std::size_t at = 0; at + block <= input[0].size(); at += block) {
      for (std::uint32_t i = 0; i < count; ++i) {
        if (events[i].empty()) continue;
        const bool isInput = lilv_port_is_a(plugin, lilv_plugin_get_port_by_index(plugin, i), in);
        auto* const head = reinterpret_cast<LV2_Atom_Sequence*>(events[i].data());
        *head = {};
        head->atom.type = number(isInput ? LV2_ATOM__Sequence : LV2_ATOM__Chunk);
        head->atom.size = isInput ? 8 : (1 << 20) - 16;
      }
      std::vector<float> middle(block);
      for (std::uint32_t i = 0; i < block; ++i) middle[i] = 0.5f * (input[0][at + i] + input[1][at + i]);
      const auto plane = [&](std::size_t n) { return const_cast<float*>(input[n].data()) + at; };
      for (std::size_t n = 0; n < std::min<std::size_t>(2, inputs.size()); ++n)
        lilv_instance_connect_port(instance, inputs[n],
                                   inputs.size() > 1 ? plane(n)
                                   : side < 2        ? plane(side)
                                                     : middle.data());
      for (std::size_t n = 0; n < std::min<std::size_t>(2, outputs.size()); ++n)
        lilv_instance_connect_port(instance, outputs[n], output[side < 2 ? side : n].data() + at);
      lilv_instance_run(instance, block);
      const LV2_Handle handle = lilv_instance_get_handle(instance);
      for (const auto& asked : std::exchange(work.asked, {}))
        if (worker && worker->work)
          worker->work(
              handle,
              [](LV2_Worker_Respond_Handle, std::uint32_t, const void*) { return LV2_WORKER_SUCCESS; },
              nullptr, std::uint32_t(asked.size()), asked.data());
      if (worker && worker->end_run) worker->end_run(handle);
    }
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
    for (LilvNode* node : {atom, in, perRate}) lilv_node_free(node);
    return true;
  }

  LilvWorld* const world_;
  std::map<std::string, LV2_URID> numbers_;
};

}  // namespace sonmere
