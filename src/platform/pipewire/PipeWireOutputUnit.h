#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "audio/device/OutputUnit.h"
#include "platform/pipewire/PipeWireServer.h"

namespace sonmere {

// A unit on one device's output side, input side, or both: one stream for each.
class PipeWireOutputUnit final : public OutputUnit, private ServerDependent {
 public:
  PipeWireOutputUnit(PipeWireServer& server, std::uint64_t identifier);
  ~PipeWireOutputUnit() override;

  // Wished size of the device's buffers, in frames; 0: the server's.
  std::function<std::uint32_t(AudioDeviceID device)> latencyFrames;

  std::uint64_t identifier() const override { return identifier_; }
  OSStatus setEnableIO(AudioScope scope, bool enabled) override;
  OSStatus setCurrentDevice(AudioDeviceID device) override;
  Result<AudioDeviceID> currentDevice() const override;
  OSStatus setStreamFormat(AudioScope scope, const AudioStreamFormat& format) override;
  Result<AudioStreamFormat> hardwareFormat(AudioScope scope) const override;
  OSStatus setChannelMap(std::vector<std::int32_t> map) override;
  OSStatus setMaximumFramesPerSlice(std::uint32_t frames) override;
  OSStatus setRenderCallback(RenderCallback callback, void* refcon) override;
  OSStatus setInputCallback(InputCallback callback, void* refcon) override;
  OSStatus initialize() override;
  OSStatus uninitialize() override;
  OSStatus start() override;
  bool isHeard() const override;
  OSStatus stop() override;
  OSStatus render(const AudioTimeStamp& time, std::uint32_t frames,
                  AudioBufferList buffers) noexcept SONMERE_NONBLOCKING override;

 private:
  void serverLost() override;
  OSStatus change(const std::function<void()>& edit);
  CycleStreamPlan plan(CycleStreamPlan::Kind kind, const PipeWireDevice& device) const;
  OSStatus openSides(const PipeWireDevice& device);
  void closeSides();
  void renderSlice(float* target, std::uint32_t frames, std::uint32_t channels,
                   const AudioTimeStamp& now) noexcept;

  static void played(void* refcon, const CycleStream::Cycle& cycle) noexcept;
  static void captured(void* refcon, const CycleStream::Cycle& cycle) noexcept;

  // Main thread, or the tear-down queue; the callbacks read them while they do not change.
  PipeWireServer& server_;
  const std::uint64_t identifier_;
  AudioDeviceID device_ = kAudioObjectUnknown;
  bool outputEnabled_ = true, inputEnabled_ = false;
  bool isInitialized_ = false, isStarted_ = false;
  AudioStreamFormat outputFormat_, inputFormat_;
  std::vector<std::int32_t> channelMap_;
  std::uint32_t maximumFrames_ = 4096;
  RenderCallback renderCallback_ = nullptr;
  void* renderRefcon_ = nullptr;
  InputCallback inputCallback_ = nullptr;
  void* inputRefcon_ = nullptr;
  std::unique_ptr<CycleStream> output_, input_;

  // Render thread.
  std::vector<float> scratch_;
  const CycleStream::Cycle* arrived_ = nullptr;
};

}  // namespace sonmere
