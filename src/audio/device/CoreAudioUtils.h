#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "audio/device/BusTable.h"
#include "base/Log.h"

namespace sonmere {

// The rules of asking for devices: a UID is what persists, an ID is good until the next change of the device
// list or restart of the server, and the driver's devices are found by the bus table. A failed platform call
// yields an empty optional, false or 0. Threads: any but a render thread.
namespace CoreAudioUtils {

struct OutputDevice {
  AudioDeviceID id = kAudioObjectUnknown;
  std::string name;
  std::string uid;
  bool operator==(const OutputDevice&) const = default;
};

// Every device with at least one output (input) channel, without the multi-output aggregates.
std::vector<OutputDevice> allOutputDevices(AudioHardware& hardware);
std::vector<OutputDevice> allInputDevices(AudioHardware& hardware);
// Outputs that a user may pick: without the program's own devices.
std::vector<OutputDevice> physicalOutputDevices(AudioHardware& hardware);
// Whether a UID is one of the driver's devices or of the program's aggregates.
bool isOwnDeviceUID(std::string_view uid);

// Empty for a bus above 9, without asking the platform. Falls back to searching the device list, since the
// server translates no UID for some moments after a driver load.
std::optional<AudioDeviceID> deviceForBus(AudioHardware& hardware, int bus);
std::optional<AudioDeviceID> deviceForUID(AudioHardware& hardware, std::string_view uid);
// The buses found, in order.
std::vector<AudioDeviceID> allBusDevices(AudioHardware& hardware);

int outputChannelCount(AudioHardware& hardware, AudioDeviceID device);
int inputChannelCount(AudioHardware& hardware, AudioDeviceID device);
// The channel's name, or its number; channels count from 1.
std::string channelName(AudioHardware& hardware, AudioDeviceID device, AudioScope scope, int channel);

std::optional<AudioDeviceID> defaultOutput(AudioHardware& hardware);
std::optional<AudioDeviceID> defaultInput(AudioHardware& hardware);
std::optional<AudioDeviceID> defaultSystemOutput(AudioHardware& hardware);
// Sets the default output, then the default system output; true when the first worked.
bool setDefaultOutput(AudioHardware& hardware, Log& log, AudioDeviceID device);
bool setDefaultInput(AudioHardware& hardware, Log& log, AudioDeviceID device);

std::optional<std::string> deviceUID(AudioHardware& hardware, AudioDeviceID device);
std::optional<std::string> deviceName(AudioHardware& hardware, AudioDeviceID device);
std::optional<std::uint32_t> transportType(AudioHardware& hardware, AudioDeviceID device);
// Asked only of devices that have the property.
std::optional<std::uint32_t> dataSource(AudioHardware& hardware, AudioDeviceID device, AudioScope scope);
bool isBuiltInSpeaker(AudioHardware& hardware, AudioDeviceID device);
bool isBuiltInMicrophone(AudioHardware& hardware, AudioDeviceID device);

std::optional<double> nominalRate(AudioHardware& hardware, AudioDeviceID device);
// Whether the device can run at the rate; within 1.0 Hz of an end of a range counts.
bool hasAvailableRate(AudioHardware& hardware, AudioDeviceID device, double rate);
std::optional<float> deviceVolume(AudioHardware& hardware, AudioDeviceID device, AudioScope scope);
// Clamped to at most 1.0.
bool setDeviceVolume(AudioHardware& hardware, AudioDeviceID device, AudioScope scope, float volume);

}  // namespace CoreAudioUtils
}  // namespace sonmere
