#include "routing/RoutingChains.h"

#include <utility>

namespace sonmere {

namespace {
constexpr const char* kOwner = "routing";
}  // namespace

void RoutingChains::host(PluginChains& chains) {
  chains_ = &chains;
  update();
}

void RoutingChains::close() {
  if (auto* const chains = std::exchange(chains_, nullptr)) chains->setPlaces(kOwner, {});
}

template <class Holder>
ChainPlace RoutingChains::place(std::shared_ptr<Holder> owner, Published<const PluginChainSnapshot>& chain,
                                double rate) {
  return {rate, &chain,
          [this, owner = std::move(owner), &chain](std::shared_ptr<const PluginChainSnapshot> next) {
            chain.publish(std::move(next), core_.retirement, PluginChainSnapshot::kGrace);
          }};
}

void RoutingChains::update() {
  if (!chains_) return;
  PluginChains::Places places;
  for (int bus = 0; bus < kBusCount; ++bus)
    if (const auto rate = outputs_.sampleRate(bus))
      places[PluginScope::ofBus(bus)] =
          place(core_.render, core_.render->masters[std::size_t(bus)].pluginChain, *rate);
  // On a device of its own an app has its volume only.
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (!tap->isOnDevice())
      places[PluginScope::ofApp(bundleID)] =
          place(tap, tap->pluginChain, outputs_.rateOrDefault(clampBus(tap->busIndex)));
  chains_->setPlaces(kOwner, std::move(places));
}

}  // namespace sonmere
