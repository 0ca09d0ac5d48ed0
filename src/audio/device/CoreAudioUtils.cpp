#include "audio/device/CoreAudioUtils.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace sonmere::CoreAudioUtils {

namespace {

template <class T>
std::optional<T> valueOrNothing(Result<T> result) {
  if (result) return std::move(*result);
  return std::nullopt;
}

// 0 stands for "no device".
std::optional<AudioDeviceID> knownDevice(Result<AudioDeviceID> result) {
  if (result && *result != kAudioObjectUnknown) return *result;
  return std::nullopt;
}

int channelCount(AudioHardware& hardware, AudioDeviceID device, AudioScope scope) {
  const auto buffers = hardware.streamConfiguration(device, scope);
  return buffers ? int(std::accumulate(buffers->begin(), buffers->end(), 0u)) : 0;
}

std::vector<OutputDevice> devicesWith(AudioHardware& hardware, AudioScope scope) {
  std::vector<OutputDevice> found;
  for (const AudioDeviceID id : hardware.devices().value_or(std::vector<AudioDeviceID>{})) {
    if (channelCount(hardware, id, scope) == 0) continue;
    auto uid = hardware.deviceUID(id);
    if (!uid || uid->starts_with(kMultiOutputUID)) continue;
    found.push_back({id, hardware.deviceName(id).value_or(""), std::move(*uid)});
  }
  return found;
}

}  // namespace

std::vector<OutputDevice> allOutputDevices(AudioHardware& hardware) {
  return devicesWith(hardware, AudioScope::output);
}

std::vector<OutputDevice> allInputDevices(AudioHardware& hardware) {
  return devicesWith(hardware, AudioScope::input);
}

bool isOwnDeviceUID(std::string_view uid) {
  return uid.starts_with("ToneFerry_") || uid.starts_with("Sonmere_") || uid == kCombinedInputUID;
}

std::vector<OutputDevice> physicalOutputDevices(AudioHardware& hardware) {
  auto devices = allOutputDevices(hardware);
  std::erase_if(devices, [](const OutputDevice& device) { return isOwnDeviceUID(device.uid); });
  return devices;
}

std::optional<AudioDeviceID> deviceForUID(AudioHardware& hardware, std::string_view uid) {
  if (uid.empty()) return std::nullopt;
  return knownDevice(hardware.deviceForUID(uid));
}

std::optional<AudioDeviceID> deviceForBus(AudioHardware& hardware, int bus) {
  if (!isBus(bus)) return std::nullopt;
  const std::string_view wanted = kBusUIDs[std::size_t(bus)];
  if (const auto device = deviceForUID(hardware, wanted)) return device;
  for (const AudioDeviceID device : hardware.devices().value_or(std::vector<AudioDeviceID>{}))
    if (const auto uid = hardware.deviceUID(device); uid && *uid == wanted) return device;
  return std::nullopt;
}

std::vector<AudioDeviceID> allBusDevices(AudioHardware& hardware) {
  std::vector<AudioDeviceID> found;
  for (int bus = 0; bus < kBusCount; ++bus)
    if (const auto device = deviceForBus(hardware, bus)) found.push_back(*device);
  return found;
}

int outputChannelCount(AudioHardware& hardware, AudioDeviceID device) {
  return channelCount(hardware, device, AudioScope::output);
}

int inputChannelCount(AudioHardware& hardware, AudioDeviceID device) {
  return channelCount(hardware, device, AudioScope::input);
}

std::string channelName(AudioHardware& hardware, AudioDeviceID device, AudioScope scope, int channel) {
  const auto name = hardware.channelName(device, scope, std::uint32_t(channel));
  return name && !name->empty() ? *name : std::to_string(channel);
}

std::optional<AudioDeviceID> defaultOutput(AudioHardware& hardware) {
  return knownDevice(hardware.defaultDevice(DefaultDevice::output));
}

std::optional<AudioDeviceID> defaultInput(AudioHardware& hardware) {
  return knownDevice(hardware.defaultDevice(DefaultDevice::input));
}

std::optional<AudioDeviceID> defaultSystemOutput(AudioHardware& hardware) {
  return knownDevice(hardware.defaultDevice(DefaultDevice::systemOutput));
}

bool setDefaultOutput(AudioHardware& hardware, Log& log, AudioDeviceID device) {
  const OSStatus output = hardware.setDefaultDevice(DefaultDevice::output, device);
  if (output != noErr) log.error(fmt::format("ToneFerry: Failed to set default output: {}", output));
  const OSStatus system = hardware.setDefaultDevice(DefaultDevice::systemOutput, device);
  if (system != noErr)
    log.info(
        fmt::format("ToneFerry: Failed to set system output: {} (this is normal for multi-output)", system));
  return output == noErr;
}

bool setDefaultInput(AudioHardware& hardware, Log& log, AudioDeviceID device) {
  const OSStatus status = hardware.setDefaultDevice(DefaultDevice::input, device);
  if (status != noErr) log.error(fmt::format("ToneFerry: Failed to set default input: {}", status));
  return status == noErr;
}

std::optional<std::string> deviceUID(AudioHardware& hardware, AudioDeviceID device) {
  return valueOrNothing(hardware.deviceUID(device));
}

std::optional<std::string> deviceName(AudioHardware& hardware, AudioDeviceID device) {
  return valueOrNothing(hardware.deviceName(device));
}

std::optional<std::uint32_t> transportType(AudioHardware& hardware, AudioDeviceID device) {
  return valueOrNothing(hardware.transportType(device));
}

std::optional<std::uint32_t> dataSource(AudioHardware& hardware, AudioDeviceID device, AudioScope scope) {
  if (!hardware.hasDataSource(device, scope)) return std::nullopt;
  return valueOrNothing(hardware.dataSource(device, scope));
}

bool isBuiltInSpeaker(AudioHardware& hardware, AudioDeviceID device) {
  if (const auto uid = deviceUID(hardware, device); uid && uid->contains("BuiltInSpeaker")) return true;
  return dataSource(hardware, device, AudioScope::output) == kDataSourceInternalSpeaker;
}

bool isBuiltInMicrophone(AudioHardware& hardware, AudioDeviceID device) {
  if (const auto uid = deviceUID(hardware, device); uid && uid->contains("BuiltInMicrophone")) return true;
  return dataSource(hardware, device, AudioScope::input) == kDataSourceInternalMicrophone;
}

std::optional<double> nominalRate(AudioHardware& hardware, AudioDeviceID device) {
  return valueOrNothing(hardware.nominalSampleRate(device));
}

bool hasAvailableRate(AudioHardware& hardware, AudioDeviceID device, double rate) {
  constexpr double kTolerance = 1.0;  // Hz
  const auto ranges = hardware.availableNominalSampleRates(device);
  return ranges && std::ranges::any_of(*ranges, [rate](const AudioValueRange& range) {
           return rate >= range.minimum - kTolerance && rate <= range.maximum + kTolerance;
         });
}

std::optional<float> deviceVolume(AudioHardware& hardware, AudioDeviceID device, AudioScope scope) {
  return valueOrNothing(hardware.volume(device, scope));
}

bool setDeviceVolume(AudioHardware& hardware, AudioDeviceID device, AudioScope scope, float volume) {
  return hardware.setVolume(device, scope, std::min(volume, 1.0f)) == noErr;
}

}  // namespace sonmere::CoreAudioUtils
