#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Status.h"

namespace sonmere {

// Identifies an object of the audio server until the next device-list change or restart of the server.
// Never persisted: devices persist by UID.
using AudioObjectID = std::uint32_t;
using AudioDeviceID = AudioObjectID;
constexpr AudioObjectID kAudioObjectUnknown = 0;
// The server itself; its properties are the device list, the defaults and the process list.
constexpr AudioObjectID kAudioObjectSystemObject = 1;

using ProcessID = std::int32_t;

enum class AudioScope { global, input, output };

enum class DefaultDevice { output, input, systemOutput };

// Properties that can be listened to.
enum class AudioProperty {
  devices,              // system: the device list
  defaultOutput,        // system
  defaultInput,         // system
  defaultSystemOutput,  // system
  processObjectList,    // system
  serviceRestarted,     // system: every object ID is void
  serviceLost,          // system: the server has gone; its restart is told when it is back
  nominalSampleRate,    // device
  isAlive,              // device
  isRunningSomewhere,   // device
  dataSource,           // device, by scope
  streamConfiguration,  // device, by scope
  isRunningOutput,      // process object
};

// Transport types as four-letter codes.
namespace TransportType {
constexpr std::uint32_t builtIn = fourCharCode("bltn");
constexpr std::uint32_t usb = fourCharCode("usb ");
constexpr std::uint32_t thunderbolt = fourCharCode("thun");
constexpr std::uint32_t bluetooth = fourCharCode("blue");
constexpr std::uint32_t bluetoothLE = fourCharCode("blea");
constexpr std::uint32_t hdmi = fourCharCode("hdmi");
constexpr std::uint32_t displayPort = fourCharCode("dprt");
constexpr std::uint32_t airPlay = fourCharCode("airp");
constexpr std::uint32_t aggregate = fourCharCode("grup");
constexpr std::uint32_t virtualDevice = fourCharCode("virt");
}  // namespace TransportType

constexpr std::uint32_t kDataSourceInternalSpeaker = fourCharCode("ispk");
constexpr std::uint32_t kDataSourceInternalMicrophone = fourCharCode("imic");
constexpr std::uint32_t kDataSourceHeadphones = fourCharCode("hdpn");
constexpr std::uint32_t kDataSourceExternalSpeaker = fourCharCode("espk");
constexpr std::uint32_t kDataSourceExternalMicrophone = fourCharCode("emic");
constexpr std::uint32_t kDataSourceHeadset = fourCharCode("hset");
constexpr std::uint32_t kDataSourceLine = fourCharCode("line");

// Rates a device can run at, in Hz; a single rate has equal ends.
struct AudioValueRange {
  double minimum = 0;
  double maximum = 0;
  bool operator==(const AudioValueRange&) const = default;
};

// Linear PCM, float32, packed and interleaved: what every unit and I/O procedure here carries.
struct AudioStreamFormat {
  double sampleRate = 0;  // Hz
  std::uint32_t channels = 2;
  bool operator==(const AudioStreamFormat&) const = default;
};

// One interleaved float32 buffer. `data` may be null: a buffer that the server did not fill.
struct AudioBuffer {
  std::uint32_t channels = 0;
  std::uint32_t byteSize = 0;
  float* data = nullptr;
};

using AudioBufferList = std::span<AudioBuffer>;

struct AudioTimeStamp {
  double sampleTime = 0;       // frames since the device started
  std::uint64_t hostTime = 0;  // ns on the server's host clock
};

enum class TapMute { unmuted = 0, muted = 1 };

// What a process tap captures: a stereo mixdown of the listed processes, or (with `exclusive`) of all but
// the listed ones.
struct TapDescription {
  std::string name;
  std::vector<AudioObjectID> processes;
  bool isPrivate = true;
  bool exclusive = false;
  TapMute mute = TapMute::unmuted;
};

// Those that a member has and the aggregate takes from it.
enum class AggregateSides { both, output, input };

struct AggregateDescription {
  struct SubDevice {
    std::string uid;
    bool drift = false;  // resampled onto the master's clock
  };
  std::string uid;
  std::string name;
  bool isPrivate = true;
  bool isStacked = false;  // all members play the same channels; else channels stand side by side
  AggregateSides sides = AggregateSides::both;
  std::string master;  // UID of the clock; empty: the first member
  std::vector<SubDevice> subDevices;
  std::vector<std::string> tapUIDs;

  // Whether it takes its members' input or output sides.
  bool has(AudioScope side) const {
    return sides == AggregateSides::both || (sides == AggregateSides::input) == (side == AudioScope::input);
  }
};

}  // namespace sonmere
