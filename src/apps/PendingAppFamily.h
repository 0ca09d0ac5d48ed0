#pragma once

#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// The working record of one refresh.
struct PendingAppFamily {
  ProcessID id = 0;
  std::string bundleID;
  std::string name;
  std::string icon;
  std::vector<AudioObjectID> audioObjectIDs;
};

}  // namespace sonmere
