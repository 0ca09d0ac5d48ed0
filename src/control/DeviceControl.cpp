#include "control/DeviceControl.h"

#include <fmt/format.h>

#include "audio/device/CoreAudioUtils.h"
#include "control/ControlError.h"

namespace sonmere {

Outcome<std::vector<DeviceState>> DeviceControl::list() const {
  AudioHardware& hardware = app_.context().platform.hardware();
  const auto devices = hardware.devices();
  if (!devices)
    return std::unexpected(controlError(
        ControlFault::failed, fmt::format("the audio server does not answer: error {}", devices.error())));
  const auto output = CoreAudioUtils::defaultOutput(hardware), input = CoreAudioUtils::defaultInput(hardware);
  std::vector<DeviceState> all;
  for (const AudioDeviceID device : *devices) {
    const auto uid = hardware.deviceUID(device);
    if (!uid) continue;  // gone meanwhile
    all.push_back({*uid, hardware.deviceName(device).value_or(*uid),
                   CoreAudioUtils::inputChannelCount(hardware, device),
                   CoreAudioUtils::outputChannelCount(hardware, device),
                   hardware.nominalSampleRate(device).value_or(0), output == device, input == device,
                   CoreAudioUtils::isOwnDeviceUID(*uid)});
  }
  return all;
}

}  // namespace sonmere
