#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// One row of routable audio: an app with all its processes.
struct TappedAppInfo {
  ProcessID id = 0;      // main process of the family
  std::string bundleID;  // family key
  std::string name;
  std::string icon;
  std::vector<AudioObjectID> audioObjectIDs;
  float volume = 1.0f;         // linear
  float monitorVolume = 1.0f;  // linear
  bool monitorLinked = true;   // the monitor follows the volume
  bool isEnabled = false;      // routed
  bool isMuted = false;
  float level = 0;  // 0 to 1, copied from the tap
  int busIndex = 0;
  std::optional<std::string> outputDeviceUID;
  int outputLeftChannel = 0;
  int outputRightChannel = 1;

  bool operator==(const TappedAppInfo&) const = default;
};

}  // namespace sonmere
