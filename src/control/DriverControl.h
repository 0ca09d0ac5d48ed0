#pragma once

#include "app/ToneFerryApp.h"
#include "control/DriverState.h"

namespace sonmere {

// The virtual driver and the rate of its devices. Main thread.
class DriverControl {
 public:
  explicit DriverControl(ToneFerryApp& app) : app_(app) {}

  DriverState state() const;
  // Looks at disk and server anew, after somebody has changed them.
  DriverState refresh();
  Outcome<DriverState> setSampleRate(double rate);

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
