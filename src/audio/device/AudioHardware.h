#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "audio/device/CaptureExpectation.h"
#include "audio/device/HostClock.h"
#include "audio/device/OutputUnit.h"
#include "base/Queue.h"

namespace sonmere {

// Called for every cycle of a device: captured buffers in, buffers to fill out. Render thread.
using IOProc = OSStatus (*)(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                            AudioBufferList output) noexcept SONMERE_NONBLOCKING;
// Handle of an installed I/O procedure; 0 is none.
using IOProcID = std::uint64_t;

// Handle of a property listener; 0 is none.
using ListenerID = std::uint64_t;

// The audio server, as the engines see it. Every operation may fail with a status; one on an object that has
// gone answers kAudioHardwareBadObjectError or kAudioHardwareBadDeviceError. Calls are round trips of up to
// milliseconds. Threads: any but a render thread.
class AudioHardware : public HostClock {
 public:
  // Devices.
  virtual Result<std::vector<AudioDeviceID>> devices() = 0;
  // kAudioObjectUnknown when no device has the UID.
  virtual Result<AudioDeviceID> deviceForUID(std::string_view uid) = 0;
  virtual Result<std::string> deviceUID(AudioDeviceID device) = 0;
  virtual Result<std::string> deviceName(AudioDeviceID device) = 0;
  virtual Result<std::uint32_t> transportType(AudioDeviceID device) = 0;
  // Channels of each buffer on one side; no entry means no streams there.
  virtual Result<std::vector<std::uint32_t>> streamConfiguration(AudioDeviceID device, AudioScope scope) = 0;
  // Channels count from 1. An unnamed channel answers kAudioHardwareUnknownPropertyError.
  virtual Result<std::string> channelName(AudioDeviceID device, AudioScope scope, std::uint32_t channel) = 0;
  virtual bool hasDataSource(AudioDeviceID device, AudioScope scope) = 0;
  virtual Result<std::uint32_t> dataSource(AudioDeviceID device, AudioScope scope) = 0;
  virtual Result<double> nominalSampleRate(AudioDeviceID device) = 0;  // Hz
  virtual OSStatus setNominalSampleRate(AudioDeviceID device, double rate) = 0;
  // Whether a rate is one of all devices together (true) or each device's own.
  virtual bool sampleRateIsShared() const = 0;
  virtual Result<std::vector<AudioValueRange>> availableNominalSampleRates(AudioDeviceID device) = 0;
  virtual Result<std::uint32_t> bufferFrameSize(AudioDeviceID device) = 0;
  virtual OSStatus setBufferFrameSize(AudioDeviceID device, std::uint32_t frames) = 0;
  virtual Result<float> volume(AudioDeviceID device, AudioScope scope) = 0;  // 0 to 1
  virtual OSStatus setVolume(AudioDeviceID device, AudioScope scope, float volume) = 0;
  virtual Result<bool> isAlive(AudioDeviceID device) = 0;
  virtual Result<bool> isRunningSomewhere(AudioDeviceID device) = 0;
  // UIDs of an aggregate's members, present or not.
  virtual Result<std::vector<std::string>> fullSubDeviceList(AudioDeviceID aggregate) = 0;

  // Defaults. No default answers kAudioObjectUnknown.
  virtual Result<AudioDeviceID> defaultDevice(DefaultDevice role) = 0;
  virtual OSStatus setDefaultDevice(DefaultDevice role, AudioDeviceID device) = 0;

  // Process objects.
  virtual Result<std::vector<AudioObjectID>> processObjects() = 0;
  virtual Result<AudioObjectID> processForPID(ProcessID pid) = 0;
  virtual Result<ProcessID> processPID(AudioObjectID process) = 0;
  virtual Result<std::string> processBundleID(AudioObjectID process) = 0;
  virtual Result<bool> processIsRunningOutput(AudioObjectID process) = 0;
  virtual Result<std::vector<AudioDeviceID>> processDevices(AudioObjectID process) = 0;

  // Process taps. A private tap is seen by this program only.
  virtual bool supportsProcessTaps() const = 0;
  virtual Result<AudioObjectID> createProcessTap(const TapDescription& description) = 0;
  virtual OSStatus destroyProcessTap(AudioObjectID tap) = 0;
  // May fail for some milliseconds after the creation.
  virtual Result<std::string> tapUID(AudioObjectID tap) = 0;

  // What an engine will capture. An app that is expected and begins to play stands still, unheard and losing
  // nothing, until a tap captures it, or for `kLongestCaptureWait`; so it is never heard as it was not set.
  // Apps that play already are left as they are. Replaces what the same owner said before; an empty one takes
  // it back. It holds across restarts of the server.
  virtual void expectCapture(std::string_view owner, CaptureExpectation expectation) = 0;

  // Aggregates.
  virtual Result<AudioDeviceID> createAggregateDevice(const AggregateDescription& description) = 0;
  virtual OSStatus destroyAggregateDevice(AudioDeviceID aggregate) = 0;

  // Device I/O. After stopDevice has returned the procedure is not running and is not called again.
  virtual Result<IOProcID> createIOProc(AudioDeviceID device, IOProc procedure, void* clientData) = 0;
  virtual OSStatus destroyIOProc(AudioDeviceID device, IOProcID procedure) = 0;
  virtual OSStatus startDevice(AudioDeviceID device, IOProcID procedure) = 0;
  virtual OSStatus stopDevice(AudioDeviceID device, IOProcID procedure) = 0;

  // Output units: whether there is such a component, and a new instance of it.
  virtual bool hasOutputComponent() = 0;
  virtual Result<std::unique_ptr<OutputUnit>> newOutputUnit() = 0;

  // Listeners. The handler is posted to `queue` after each change; one already posted may still run after the
  // removal. Listeners on objects that go away fall silent. The queue must outlive the listener. One that
  // is removed while the server is stopped is gone too, whatever the answer.
  using PropertyHandler = std::function<void()>;
  virtual Result<ListenerID> addListener(AudioObjectID object, AudioProperty property, AudioScope scope,
                                         Queue& queue, PropertyHandler handler) = 0;
  virtual OSStatus removeListener(ListenerID listener) = 0;

  // Whether devices made here need time before they work (the engines then wait their named settle times).
  virtual bool needsSettling() const = 0;
};

}  // namespace sonmere
