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
  // Calls a Track something; an empty name gives it its own back. Refused for the bridge, for a name that
  // means a bus by itself or is another Track's, and for one that can't be shown in a line.
  Outcome<BusState> rename(int bus, const std::string& name);
  Outcome<BusChange> setEqualiser(int bus, AppEQSettings settings);
  // Nothing turns it off.
  Outcome<BusChange> setLimiter(int bus, std::optional<double> ceilingDb);

 private:
  AppTapEngine& engine() const { return *app_.appTapEngine(); }
  BusState describe(int bus) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
