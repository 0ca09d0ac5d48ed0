#pragma once

#include <map>
#include <memory>

#include "base/Lifetime.h"
#include "platform/pipewire/CombinedDevice.h"
#include "platform/pipewire/DeviceIO.h"
#include "platform/pipewire/PipeWireServer.h"

namespace sonmere {

// The boundary's operations on a PipeWire server. UIDs are node names; an object of a server that has died is
// a bad object. A tap begins to capture, and to mute, when the I/O procedure of its aggregate starts.
class PipeWireHardware final : public AudioHardware {
 public:
  explicit PipeWireHardware(PipeWireServer& server);
  ~PipeWireHardware() override;

  std::uint64_t hostTime() const noexcept SONMERE_NONBLOCKING override;

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
  // An aggregate of taps has a rate of its own; any other device's is the whole graph's.
  OSStatus setNominalSampleRate(AudioDeviceID device, double rate) override;
  bool sampleRateIsShared() const override { return true; }
  Result<std::vector<AudioValueRange>> availableNominalSampleRates(AudioDeviceID device) override;
  Result<std::uint32_t> bufferFrameSize(AudioDeviceID device) override;
  // A wish, of 1 to 8192 frames that the server's settings allow; the smallest of a graph is taken. I/O
  // procedures take it while they run, units when they start.
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

  bool supportsProcessTaps() const override { return true; }
  // A muted tap on a program that asked not to be moved is an illegal operation.
  Result<AudioObjectID> createProcessTap(const TapDescription& description) override;
  OSStatus destroyProcessTap(AudioObjectID tap) override;
  Result<std::string> tapUID(AudioObjectID tap) override;

  // In the waiting room; without the session manager's script an app is heard for a moment where the session
  // is quicker than this program.
  void expectCapture(std::string_view owner, CaptureExpectation expectation) override;

  Result<AudioDeviceID> createAggregateDevice(const AggregateDescription& description) override;
  OSStatus destroyAggregateDevice(AudioDeviceID aggregate) override;

  Result<IOProcID> createIOProc(AudioDeviceID device, IOProc procedure, void* clientData) override;
  OSStatus destroyIOProc(AudioDeviceID device, IOProcID procedure) override;
  OSStatus startDevice(AudioDeviceID device, IOProcID procedure) override;
  OSStatus stopDevice(AudioDeviceID device, IOProcID procedure) override;

  bool hasOutputComponent() override { return true; }
  Result<std::unique_ptr<OutputUnit>> newOutputUnit() override;

  Result<ListenerID> addListener(AudioObjectID object, AudioProperty property, AudioScope scope, Queue& queue,
                                 PropertyHandler handler) override;
  OSStatus removeListener(ListenerID listener) override;
  bool needsSettling() const override { return false; }

 private:
  // A private aggregate of taps: no device of the server's, only a rate and what it captures.
  struct TapAggregate {
    AggregateDescription description;
    AudioObjectID tap = kAudioObjectUnknown;
    double rate;  // Hz; the graph's when it was made
  };
  struct Procedure {
    AudioDeviceID device = kAudioObjectUnknown;
    std::unique_ptr<DeviceIO> io;
    bool isStarted = false;
    double rate = 0;  // Hz; of one on a device, since it was started
  };
  // The device's answer, or its absence as a status.
  template <class Answer>
  auto ask(AudioDeviceID device, Answer&& answer) -> Result<decltype(answer(std::declval<PipeWireDevice>()))>;
  template <class Answer>
  auto askProcess(AudioObjectID process, Answer&& answer)
      -> Result<decltype(answer(std::declval<PipeWireProcess>()))>;
  OSStatus refuseUnmovable(const TapDescription& description);
  OSStatus start(Procedure& procedure);
  void restart(const std::function<bool(const Procedure&)>& isMeant);
  bool playsElsewhere(const Procedure& procedure) const;
  void lookAtOutputs();
  bool isUnderWay(const Procedure& procedure) const;
  void followOutputs(int attempts);
  void followRate();
  std::uint32_t wishedFrames(AudioDeviceID device) const;
  Procedure* find(AudioDeviceID device, IOProcID procedure);

  // All guarded by the loop's lock.
  PipeWireServer& server_;
  // Stands for this program, to be left out of a tap by name. No tap hears what it plays in any case.
  AudioObjectID ownProcess_ = kAudioObjectUnknown;
  std::map<AudioObjectID, PipeWireTap> taps_;
  std::map<AudioDeviceID, TapAggregate> tapAggregates_;
  std::map<AudioDeviceID, std::unique_ptr<CombinedDevice>> combined_;
  std::map<IOProcID, Procedure> procedures_;
  std::map<AudioDeviceID, std::uint32_t> wishedFrames_;
  bool isRestarting_ = false;
  Lifetime lifetime_;
  IOProcID nextProcedure_ = 1;
  std::uint64_t nextUnit_ = 1;
};

}  // namespace sonmere
