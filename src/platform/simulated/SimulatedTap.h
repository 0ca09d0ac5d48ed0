#pragma once

#include <string>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// A process tap as an object of the server. Guarded by the world's lock.
struct SimulatedTap {
  AudioObjectID id = kAudioObjectUnknown;
  std::string uid;
  TapDescription description;

  bool covers(AudioObjectID process) const {
    bool listed = false;
    for (const AudioObjectID each : description.processes) listed |= each == process;
    return listed != description.exclusive;
  }
};

}  // namespace sonmere
