#pragma once

#include <functional>

#include "app/ToneFerryApp.h"
#include "control/RoutesState.h"

namespace sonmere {

// How all routes fare, and Reset Routing. Main thread.
class RoutesControl {
 public:
  explicit RoutesControl(ToneFerryApp& app) : app_(app) {}

  // As they stand now.
  RoutesState state() const;
  // What is missing is asked for again.
  RoutesState check();
  // All routes anew; `done` comes with what they are then.
  void reset(std::function<void(const RoutesState&)> done);

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
