#pragma once

#include <map>
#include <memory>
#include <string>

#include "audio/device/AudioHardware.h"

namespace sonmere {

// Remembers channel counts and names, which take the server a round trip each, so that views can ask per
// frame. Filled on first ask, emptied when the device list changes. Main thread.
class DeviceChannelInfoCache {
 public:
  DeviceChannelInfoCache(AudioHardware& hardware, Queue& mainQueue);
  ~DeviceChannelInfoCache();
  DeviceChannelInfoCache(const DeviceChannelInfoCache&) = delete;
  DeviceChannelInfoCache& operator=(const DeviceChannelInfoCache&) = delete;

  int inputChannelCount(AudioDeviceID device);
  // Channels count from 1.
  std::string channelName(AudioDeviceID device, AudioScope scope, int channel);

 private:
  void clear();

  AudioHardware& hardware_;
  std::map<AudioDeviceID, int> counts_;
  std::map<std::string, std::string> names_;  // by device, scope and channel
  ListenerID deviceListListener_ = 0;
  std::shared_ptr<DeviceChannelInfoCache*> self_ = std::make_shared<DeviceChannelInfoCache*>(this);
};

}  // namespace sonmere
