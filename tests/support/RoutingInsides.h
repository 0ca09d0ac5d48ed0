#pragma once

#include "routing/AppTapEngine.h"

namespace sonmere {

// What the routing engine is made of, for its own tests.
struct RoutingInsides {
  explicit RoutingInsides(AppTapEngine& engine)
      : taps(engine.taps_),
        outputs(engine.outputs_),
        render(*engine.core_.render),
        activeTaps(engine.core_.activeTaps),
        engine_(engine) {}

  // Null while the app is not routed.
  std::shared_ptr<SingleAppTap> tap(const std::string& bundleID) const {
    const auto found = activeTaps.find(bundleID);
    return found == activeTaps.end() ? nullptr : found->second;
  }
  // A row as if the server had told other facts.
  template <class Change>
  void change(const std::string& bundleID, Change change) {
    change(*engine_.findRow(bundleID));
    engine_.publishRows();
  }

  TapLifecycle& taps;
  BusOutputs& outputs;
  BusRenderState& render;
  const std::map<std::string, std::shared_ptr<SingleAppTap>>& activeTaps;

 private:
  AppTapEngine& engine_;
};

}  // namespace sonmere
