#pragma once

#include <string>
#include <vector>

#include "base/Time.h"

namespace sonmere {

// What a reset of the routes has done.
struct ResetRoutingResult {
  std::vector<std::string> droppedStaleMembers;  // names of devices that an aggregate still held
  int sweptAggregates = 0;                       // strays that were destroyed
  bool rebuiltSystemAudio = false;
  bool rebuiltDAWDevice = false;
  Date finishedAt;
};

}  // namespace sonmere
