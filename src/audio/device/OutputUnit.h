#pragma once

#include "audio/device/AudioTypes.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// Fills `buffers` with `frames` frames. Render thread.
using RenderCallback = OSStatus (*)(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                                    AudioBufferList buffers) noexcept SONMERE_NONBLOCKING;

// Tells that `frames` frames of input wait to be fetched with OutputUnit::render. Render thread.
using InputCallback = OSStatus (*)(void* refcon, const AudioTimeStamp& time, std::uint32_t bus,
                                   std::uint32_t frames) noexcept SONMERE_NONBLOCKING;

// A unit bound to one device, for playing (element 0), capturing (element 1), or both. It converts between
// its client formats and the device's rate and channels.
// Order of use: set the device and formats, set the callback, initialize, start; stop, uninitialize, then
// destroy. An initialized unit keeps its sides, formats and slice (kAudioUnitErrInvalidPropertyValue), a
// started one all its settings (kAudioHardwareIllegalOperationError). Destroying is the disposal and may
// block on the server, as stop may. Main thread, or the tear-down queue; `render` render thread only.
class OutputUnit {
 public:
  virtual ~OutputUnit() = default;

  // A number that tells units apart in logs; never an address, so that logs are reproducible.
  virtual std::uint64_t identifier() const = 0;

  virtual OSStatus setEnableIO(AudioScope scope, bool enabled) = 0;
  virtual OSStatus setCurrentDevice(AudioDeviceID device) = 0;
  virtual Result<AudioDeviceID> currentDevice() const = 0;
  // Client format: scope input is what the render callback produces (element 0), scope output what `render`
  // delivers (element 1).
  virtual OSStatus setStreamFormat(AudioScope scope, const AudioStreamFormat& format) = 0;
  // The device's own format on that side.
  virtual Result<AudioStreamFormat> hardwareFormat(AudioScope scope) const = 0;
  // For each device channel the client channel it takes, or -1 for silence.
  virtual OSStatus setChannelMap(std::vector<std::int32_t> map) = 0;
  virtual OSStatus setMaximumFramesPerSlice(std::uint32_t frames) = 0;
  virtual OSStatus setRenderCallback(RenderCallback callback, void* refcon) = 0;
  virtual OSStatus setInputCallback(InputCallback callback, void* refcon) = 0;
  virtual OSStatus initialize() = 0;
  virtual OSStatus uninitialize() = 0;
  virtual OSStatus start() = 0;
  // Whether what the render callback makes from now on reaches the device. Where the server connects units,
  // callbacks may run before it has, and what they make is lost.
  virtual bool isHeard() const { return true; }
  // No callback runs once it has returned.
  virtual OSStatus stop() = 0;

  // Inside the input callback: fetches the block into one interleaved buffer.
  virtual OSStatus render(const AudioTimeStamp& time, std::uint32_t frames,
                          AudioBufferList buffers) noexcept SONMERE_NONBLOCKING = 0;
};

}  // namespace sonmere
