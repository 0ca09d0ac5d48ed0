#pragma once

#include <cstdint>
#include <memory>

#include "audio/device/AudioTypes.h"
#include "platform/FrameFIFO.h"

namespace sonmere {

// The part of a capture engine that a device's cycle sees: a queue of frames towards the engine's worker.
struct CaptureFeed {
  AudioDeviceID device = kAudioObjectUnknown;
  bool isStarted = false;
  AudioStreamFormat format;         // of the device when started
  std::shared_ptr<FrameFIFO> fifo;  // while started with a tap
  // Called once, under the world's lock, when the device's format or presence has changed.
  std::function<void()> onConfigurationChange;
};

}  // namespace sonmere
