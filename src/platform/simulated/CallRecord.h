#pragma once

#include "audio/device/AudioTypes.h"
#include "base/Time.h"
#include "platform/simulated/Operation.h"

namespace sonmere {

// One call of the boundary, as the ledger keeps it.
struct CallRecord {
  Duration time;
  Operation operation;
  AudioObjectID object;
  OSStatus status;
};

}  // namespace sonmere
