#pragma once

#include <map>
#include <string>

#include "audio/device/AudioHardware.h"

namespace sonmere {

// Remembers channel counts and names, which take the server a round trip each, so that views can ask per
// frame. Filled on first ask, emptied when the device list changes. Main thread.
class DeviceChannelInfoCache {
 public:
  explicit DeviceChannelInfoCache(AudioHardware& hardware) : hardware_(hardware) {}

  int inputChannelCount(AudioDeviceID device);
  // Channels count from 1.
  std::string channelName(AudioDeviceID device, AudioScope scope, int channel);
  void clear();

 private:
  AudioHardware& hardware_;
  std::map<AudioDeviceID, int> counts_;
  std::map<std::string, std::string> names_;  // by device, scope and channel
};

}  // namespace sonmere
