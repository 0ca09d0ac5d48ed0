#pragma once

#include <algorithm>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// A process tap: which programs are captured, and whether they fall silent on their own output meanwhile.
struct PipeWireTap {
  AudioObjectID id = kAudioObjectUnknown;
  std::string uid;
  TapDescription description;

  bool isMuted() const { return description.mute == TapMute::muted; }
  bool covers(AudioObjectID process) const {
    const bool isListed = std::ranges::find(description.processes, process) != description.processes.end();
    return isListed != description.exclusive;
  }
};

}  // namespace sonmere
