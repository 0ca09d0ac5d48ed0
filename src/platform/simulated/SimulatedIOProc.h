#pragma once

#include "audio/device/AudioHardware.h"

namespace sonmere {

// An I/O procedure installed on a device. Guarded by the world's lock.
struct SimulatedIOProc {
  IOProcID id = 0;
  AudioDeviceID device = kAudioObjectUnknown;
  IOProc procedure = nullptr;
  void* clientData = nullptr;
  bool isStarted = false;
  std::uint64_t order = 0;  // of creation, among I/O procedures and units
};

}  // namespace sonmere
