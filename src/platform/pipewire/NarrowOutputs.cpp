#include "platform/pipewire/NarrowOutputs.h"

#include "platform/pipewire/AppMover.h"

namespace sonmere {

NarrowOutputs::NarrowOutputs(const GraphMirror& graph, const DeviceDirectory& devices,
                             const ProcessDirectory& processes, std::function<std::string()> defaultOutput)
    : graph_(graph), devices_(devices), processes_(processes), defaultOutput_(std::move(defaultOutput)) {}

// A stream that is held in a hidden device would be on the default without that.
const PipeWireDevice* NarrowOutputs::outputOf(const GraphNode& stream) const {
  for (const auto& [id, link] : graph_.links())
    if (link.outputNode == stream.id)
      if (const PipeWireDevice* device = devices_.deviceOfNode(link.inputNode)) return device;
  return devices_.deviceNamed(defaultOutput_());
}

std::optional<std::string> NarrowOutputs::find(const PipeWireTap& tap) const {
  for (const auto& [id, process] : processes_.all()) {
    if (!tap.covers(id)) continue;
    for (const GlobalID stream : process.streams) {
      const GraphNode* node = graph_.node(stream);
      if (!node || node->positions.size() < 2 || !AppMover::isMovable(*node)) continue;
      const PipeWireDevice* output = outputOf(*node);
      if (output && devices_.channels(*output, AudioScope::output).size() == 1)
        return output->uid == defaultOutput_() ? std::string() : output->uid;
    }
  }
  return std::nullopt;
}

}  // namespace sonmere
