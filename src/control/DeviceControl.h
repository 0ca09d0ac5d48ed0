#pragma once

#include <vector>

#include "app/ToneFerryApp.h"
#include "control/DeviceState.h"

namespace sonmere {

// The devices of the audio server. Main thread.
class DeviceControl {
 public:
  explicit DeviceControl(ToneFerryApp& app) : app_(app) {}

  // The error says that the server does not answer.
  Outcome<std::vector<DeviceState>> list() const;

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
