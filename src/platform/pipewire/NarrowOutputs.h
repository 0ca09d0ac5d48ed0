#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/pipewire/DeviceDirectory.h"
#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/PipeWireTap.h"
#include "platform/pipewire/ProcessDirectory.h"

namespace sonmere {

// Finds programs that play on a device of a single channel: their streams leave them mixed to one already,
// so that nothing linked to them hears the sides. Guarded by the loop's lock.
class NarrowOutputs {
 public:
  NarrowOutputs(const GraphMirror& graph, const DeviceDirectory& devices, const ProcessDirectory& processes,
                std::function<std::string()> defaultOutput);

  // The device where a tap's programs lose their sides. Empty: the default, whichever it is.
  std::optional<std::string> find(const PipeWireTap& tap) const;

 private:
  const PipeWireDevice* outputOf(const GraphNode& stream) const;

  const GraphMirror& graph_;
  const DeviceDirectory& devices_;
  const ProcessDirectory& processes_;
  const std::function<std::string()> defaultOutput_;
};

}  // namespace sonmere
