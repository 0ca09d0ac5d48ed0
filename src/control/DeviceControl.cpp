#include "control/DeviceControl.h"

#include "audio/device/CoreAudioUtils.h"
#include "control/ControlError.h"

namespace sonmere {

Outcome<std::vector<DeviceState>> DeviceControl::list() const {
  AudioHardware& hardware = app_.context().platform.hardware();
  const auto devices = hardware.devices();
  if (!devices)
    return std::unexpected(controlError(ControlFault::failed, "the audio server does not answer"));
  const auto output = CoreAudioUtils::defaultOutput(hardware), input = CoreAudioUtils::defaultInput(hardware);
  std::vector<DeviceState> all;
  for (const DeviceFacts& device : *app_.context().devices.devices())
    all.push_back({device.uid, device.name, device.inputChannels, device.outputChannels, device.sampleRate,
                   output == device.id, input == device.id, device.isOwn});
  return all;
}

}  // namespace sonmere
