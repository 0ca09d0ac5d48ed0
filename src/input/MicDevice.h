#pragma once

#include <functional>
#include <string>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// An input device that may become the microphone.
struct MicDevice {
  enum class Transport { builtIn, hardware, aggregate, virtualDevice, unknown };

  AudioDeviceID id = kAudioObjectUnknown;
  std::string name;
  std::string uid;
  Transport transport = Transport::unknown;

  bool operator==(const MicDevice&) const = default;
};

}  // namespace sonmere
