#pragma once

#include "audio/effects/PluginChains.h"
#include "routing/BusOutputs.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// Gives the plug-in chains of routed apps and of buses their places: the taps, and the masters of the buses
// whose units run. Main thread.
class RoutingChains {
 public:
  RoutingChains(RoutingCore& core, BusOutputs& outputs) : core_(core), outputs_(outputs) {}
  ~RoutingChains() { close(); }

  void host(PluginChains& chains);
  // Taps, units or rates are others.
  void update();
  // No chain sounds here any more.
  void close();

 private:
  template <class Holder>
  ChainPlace place(std::shared_ptr<Holder> owner, Published<const PluginChainSnapshot>& chain, double rate);

  RoutingCore& core_;
  BusOutputs& outputs_;
  PluginChains* chains_ = nullptr;
};

}  // namespace sonmere
