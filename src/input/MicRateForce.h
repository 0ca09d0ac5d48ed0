#pragma once

#include <expected>
#include <optional>
#include <string>

#include "audio/engine/EngineContext.h"
#include "base/Time.h"

namespace sonmere {

// Brings the microphone to the bridge's rate, or the bridge to the microphone's, and gives the microphone its
// own rate back. Main thread; waits up to 0.6 s for a device.
class MicRateForce {
 public:
  struct Rates {
    double capture = 48000;  // Hz
    double bridge = 48000;   // Hz
  };
  struct Aborted {
    double inputRate = 0;  // Hz
    double bridgeRate = 0;
  };

  explicit MicRateForce(EngineContext& context) : context_(context) {}

  std::expected<Rates, Aborted> match(AudioDeviceID input, AudioDeviceID bridge);
  // Of the device whose rate was forced; nothing without one.
  void restore();

 private:
  bool reaches(AudioDeviceID device, double rate);
  bool force(AudioDeviceID input, double rate, double original);

  EngineContext& context_;
  struct Forced {
    AudioDeviceID device;
    double rate;  // Hz, before
  };
  std::optional<Forced> forced_;
};

}  // namespace sonmere
