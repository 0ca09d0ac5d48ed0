#pragma once

#include <map>
#include <optional>

#include "app/ToneFerryApp.h"
#include "control/RoutingOverview.h"

namespace sonmere {

// The routing as a whole, and its buses with their effects. Main thread.
class RoutingControl {
 public:
  explicit RoutingControl(ToneFerryApp& app) : app_(app) {}

  RoutingOverview state() const;
  // What the limiters of the running buses take away now, dB.
  std::map<int, float> reductions() const;
  // Off stops every route and keeps every wish.
  RoutingChange setEnabled(bool enabled);

  Outcome<BusState> bus(int bus) const;
  Outcome<BusChange> setEqualiser(int bus, AppEQSettings settings);
  // Nothing turns it off.
  Outcome<BusChange> setLimiter(int bus, std::optional<double> ceilingDb);

 private:
  AppTapEngine& engine() const { return *app_.appTapEngine(); }
  BusState describe(int bus) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
