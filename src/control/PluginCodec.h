#pragma once

#include "control/ControlMessage.h"
#include "control/PluginState.h"

namespace sonmere {

// Plug-ins and their chains as they stand in messages.
ControlJSON encodeControl(const PluginOffer& offer);
ControlJSON encodeControl(const PluginInfo& info);
ControlJSON encodeControl(const PluginChainState& chain);
ControlJSON encodeControl(const PluginOverview& overview);

}  // namespace sonmere
