#pragma once

#include <memory>

#include "audio/device/AudioHardware.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// The boundary's view of the simulated server.
class SimulatedHardware final : public AudioHardware {
 public:
  explicit SimulatedHardware(std::shared_ptr<SimulatedWorld> world) : world_(std::move(world)) {}

  Result<std::vector<AudioDeviceID>> devices() override;
  Result<AudioDeviceID> deviceForUID(std::string_view uid) override;
  Result<std::string> deviceUID(AudioDeviceID device) override;
  Result<std::string> deviceName(AudioDeviceID device) override;
  Result<std::uint32_t> transportType(AudioDeviceID device) override;
  Result<std::vector<std::uint32_t>> streamConfiguration(AudioDeviceID device, AudioScope scope) override;
  Result<std::string> channelName(AudioDeviceID device, AudioScope scope, std::uint32_t channel) override;
  bool hasDataSource(AudioDeviceID device, AudioScope scope) override;
  Result<std::uint32_t> dataSource(AudioDeviceID device, AudioScope scope) override;
  Result<double> nominalSampleRate(AudioDeviceID device) override;
  OSStatus setNominalSampleRate(AudioDeviceID device, double rate) override;
  bool sampleRateIsShared() const override { return world_->options().sampleRateIsShared; }
  Result<std::vector<AudioValueRange>> availableNominalSampleRates(AudioDeviceID device) override;
  Result<std::uint32_t> bufferFrameSize(AudioDeviceID device) override;
  OSStatus setBufferFrameSize(AudioDeviceID device, std::uint32_t frames) override;
  Result<float> volume(AudioDeviceID device, AudioScope scope) override;
  OSStatus setVolume(AudioDeviceID device, AudioScope scope, float volume) override;
  Result<bool> isAlive(AudioDeviceID device) override;
  Result<bool> isRunningSomewhere(AudioDeviceID device) override;
  Result<std::vector<std::string>> fullSubDeviceList(AudioDeviceID aggregate) override;
  Result<AudioDeviceID> defaultDevice(DefaultDevice role) override;
  OSStatus setDefaultDevice(DefaultDevice role, AudioDeviceID device) override;

  Result<std::vector<AudioObjectID>> processObjects() override;
  Result<AudioObjectID> processForPID(ProcessID pid) override;
  Result<ProcessID> processPID(AudioObjectID process) override;
  Result<std::string> processBundleID(AudioObjectID process) override;
  Result<bool> processIsRunningOutput(AudioObjectID process) override;
  Result<std::vector<AudioDeviceID>> processDevices(AudioObjectID process) override;

  bool supportsProcessTaps() const override { return world_->options().supportsProcessTaps; }
  Result<AudioObjectID> createProcessTap(const TapDescription& description) override;
  OSStatus destroyProcessTap(AudioObjectID tap) override;
  Result<std::string> tapUID(AudioObjectID tap) override;
  void expectCapture(std::string_view owner, CaptureExpectation expectation) override;
  Result<AudioDeviceID> createAggregateDevice(const AggregateDescription& description) override;
  OSStatus destroyAggregateDevice(AudioDeviceID aggregate) override;

  Result<IOProcID> createIOProc(AudioDeviceID device, IOProc procedure, void* clientData) override;
  OSStatus destroyIOProc(AudioDeviceID device, IOProcID procedure) override;
  OSStatus startDevice(AudioDeviceID device, IOProcID procedure) override;
  OSStatus stopDevice(AudioDeviceID device, IOProcID procedure) override;

  bool hasOutputComponent() override { return world_->options().hasOutputComponent; }
  Result<std::unique_ptr<OutputUnit>> newOutputUnit() override;

  Result<ListenerID> addListener(AudioObjectID object, AudioProperty property, AudioScope scope, Queue& queue,
                                 PropertyHandler handler) override;
  OSStatus removeListener(ListenerID listener) override;
  bool needsSettling() const override { return world_->options().needsSettling; }
  std::uint64_t hostTime() const noexcept override;

 private:
  template <class T, class Read>
  Result<T> readEndpoint(Operation operation, AudioDeviceID device, Read&& read);
  template <class T, class Read>
  Result<T> readProcess(Operation operation, AudioObjectID process, Read&& read);
  OSStatus setRunning(AudioDeviceID device, IOProcID procedure, bool isStarted);

  std::shared_ptr<SimulatedWorld> world_;
};

}  // namespace sonmere
