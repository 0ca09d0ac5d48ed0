#include "audio/device/DeviceChannelInfoCache.h"

#include <fmt/format.h>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

DeviceChannelInfoCache::DeviceChannelInfoCache(AudioHardware& hardware, Queue& mainQueue)
    : hardware_(hardware) {
  deviceListListener_ =
      hardware
          .addListener(kAudioObjectSystemObject, AudioProperty::devices, AudioScope::global, mainQueue,
                       [weak = std::weak_ptr(self_)] {
                         if (const auto self = weak.lock()) (*self)->clear();
                       })
          .value_or(0);
}

DeviceChannelInfoCache::~DeviceChannelInfoCache() {
  if (deviceListListener_ != 0) hardware_.removeListener(deviceListListener_);
}

int DeviceChannelInfoCache::inputChannelCount(AudioDeviceID device) {
  const auto found = counts_.find(device);
  if (found != counts_.end()) return found->second;
  return counts_[device] = CoreAudioUtils::inputChannelCount(hardware_, device);
}

std::string DeviceChannelInfoCache::channelName(AudioDeviceID device, AudioScope scope, int channel) {
  const std::string key = fmt::format("{}/{}/{}", device, int(scope), channel);
  const auto found = names_.find(key);
  if (found != names_.end()) return found->second;
  return names_[key] = CoreAudioUtils::channelName(hardware_, device, scope, channel);
}

void DeviceChannelInfoCache::clear() {
  counts_.clear();
  names_.clear();
}

}  // namespace sonmere
