#pragma once

#include <memory>
#include <optional>
#include <string>

#include "audio/device/RunningApplications.h"
#include "platform/simulated/AppVoice.h"

namespace sonmere {

// A program as it is launched.
struct SimulatedAppDescription {
  std::string bundleID;
  std::string name;
  std::string icon;
  ActivationPolicy policy = ActivationPolicy::regular;
  // 0: the next free one.
  ProcessID pid = 0;
  // The program that this one works for; 0: itself.
  ProcessID responsiblePID = 0;
  // False for daemons and helpers that the desktop doesn't know as applications.
  bool hasApplicationObject = true;
  // False: the process list shows it from its first sound on.
  bool hasAudioClient = true;
};

// A running program. Guarded by the world's lock.
struct SimulatedProcess {
  SimulatedAppDescription description;
  ProcessID pid = 0;
  AudioObjectID id = kAudioObjectUnknown;  // while it is in the process list
  bool isOwn = false;                      // this very program
  std::optional<std::string> deviceUID;    // nothing: follows the default output
  AudioDeviceID device = kAudioObjectUnknown;
  bool isPlaying = false;
  bool standsStill = false;  // plays, but is expected to be captured, and no tap has it yet
  std::uint64_t playGeneration = 0;
  std::shared_ptr<AppVoice> voice;
  bool isRunningOutput = false;
};

}  // namespace sonmere
