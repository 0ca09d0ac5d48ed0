#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "platform/pipewire/CycleCrossing.h"
#include "platform/pipewire/PipeWireServer.h"
#include "platform/pipewire/PipeWireTap.h"

namespace sonmere {

// A running I/O procedure: on the programs of a tap, or on the sides of a device. A device with both sides
// calls its procedure as its input arrives; what the procedure gives goes out one cycle later.
class DeviceIO final : public ServerDependent {
 public:
  DeviceIO(PipeWireServer& server, IOProc procedure, void* clientData);
  ~DeviceIO() override;

  // The caller holds the lock once.
  OSStatus startOnTap(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames);
  OSStatus startOnDevice(const PipeWireDevice& device, double rate, std::uint32_t latencyFrames);
  // Whether programs are being captured; not any more once the server has gone.
  bool capturesTap() const { return tap_ != kAudioObjectUnknown; }
  // The device on which programs are played in their place: it has one channel, so that they could be heard
  // without their sides only as long as they play there themselves. Empty: the default.
  const std::optional<std::string>& forwardsTo() const { return forwardsTo_; }
  // Another wished buffer size, while it runs. Lock held.
  void setLatency(std::uint32_t frames);
  // After it has returned the procedure is not running.
  void stop();

  void serverLost() override;

 private:
  CycleStreamPlan plan(CycleStreamPlan::Kind kind, std::string name, double rate,
                       std::uint32_t latencyFrames);
  OSStatus startForwarding(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames);
  OSStatus startTapStream(const PipeWireTap& tap, double rate, std::uint32_t latencyFrames);
  const GraphNode* announcedNode();
  void capture(const PipeWireTap& tap, const GraphNode& node);
  void stopTap();

  static void captured(void* refcon, const CycleStream::Cycle& cycle) noexcept;
  static void played(void* refcon, const CycleStream::Cycle& cycle) noexcept;

  PipeWireServer& server_;
  const IOProc procedure_;
  void* const clientData_;
  AudioObjectID tap_ = kAudioObjectUnknown;
  std::uint32_t sinkSerial_ = 0;
  bool holds_ = false;  // programs play into this stream: the guard counts its cycles
  bool folds_ = false;  // what arrives has the ports of TapMixdown
  std::optional<std::string> forwardsTo_;
  std::unique_ptr<CycleCrossing> crossing_;  // from the input's cycle to the output's
  std::unique_ptr<CycleStream> input_;
  std::unique_ptr<CycleStream> output_;
};

}  // namespace sonmere
