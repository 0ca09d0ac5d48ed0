#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/effects/PluginChainSnapshot.h"
#include "audio/engine/CaptureTap.h"
#include "base/Published.h"
#include "dsp/MonitorSource.h"

namespace sonmere {

// One routed app: what it plays goes to the render of its bus.
struct SingleAppTap : CaptureTap {
  SingleAppTap(ProcessID mainPID, std::vector<AudioObjectID> processes, std::string familyKey,
               const RenderFlags& flags)
      : CaptureTap(std::move(familyKey), std::move(processes), &flags), pid(mainPID) {}

  // Main thread.
  const ProcessID pid;
  int busIndex = 0;                                    // 0 or 2 to 9
  AudioDeviceID outputDeviceID = kAudioObjectUnknown;  // 0 on a bus, else the device of its renderer
  bool createdMuted = false;                           // the mute behaviour of the platform tap

  // Main thread writes, the render of its bus reads.
  RTScalar<float> monitorVolume{1.0f};  // linear
  Published<const PluginChainSnapshot> pluginChain;

  MonitorSource monitor;  // fed by the render of its bus
};

}  // namespace sonmere
