#pragma once

#include <string>

#include "audio/device/AudioTypes.h"
#include "audio/device/Permissions.h"

namespace sonmere {

// What kind of server and machine is simulated.
struct SimulatedOptions {
  bool needsSettling = false;
  bool supportsProcessTaps = true;
  bool hasOutputComponent = true;
  // One rate for all devices together.
  bool sampleRateIsShared = false;
  bool reportsPowerEvents = true;
  PermissionStatus microphone = PermissionStatus::authorized;
  PermissionStatus audioCapture = PermissionStatus::authorized;
  ProcessID ownPID = 400;
  std::string ownBundleID = "com.sonmere.ToneFerry";
};

}  // namespace sonmere
