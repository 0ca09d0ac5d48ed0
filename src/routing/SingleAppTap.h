#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/effects/PluginChainSnapshot.h"
#include "audio/engine/CaptureTap.h"
#include "base/Published.h"
#include "dsp/MonitorSource.h"

namespace sonmere {

// The device on which the user wants to hear an app instead of on its bus, and which of its channels, from 0
// on.
struct OutputWish {
  std::string deviceUID;  // empty: its bus
  int left = 0;
  int right = 1;

  bool operator==(const OutputWish&) const = default;
};

// One routed app: what it plays goes to the render of its bus, or to that of a device of its own.
struct SingleAppTap : CaptureTap {
  SingleAppTap(ProcessID mainPID, std::vector<AudioObjectID> processes, std::string familyKey,
               const RenderFlags& flags)
      : CaptureTap(std::move(familyKey), std::move(processes), &flags), pid(mainPID) {}

  // Main thread.
  const ProcessID pid;
  int busIndex = 0;                                     // 0 or 2 to 9
  AudioDeviceID outputDeviceID = kAudioObjectUnknown;   // 0 on a bus, else the device of its renderer
  AudioDeviceID refusedDeviceID = kAudioObjectUnknown;  // it would not have this app, and is not tried again
  OutputWish wish;
  bool createdMuted = false;  // the mute behaviour of the platform tap

  bool isOnDevice() const { return outputDeviceID != kAudioObjectUnknown; }

  // Main thread writes, the render of its bus reads.
  RTScalar<float> monitorVolume{1.0f};  // linear
  Published<const PluginChainSnapshot> pluginChain;

  MonitorSource monitor;  // fed by the render of its bus
};

}  // namespace sonmere
