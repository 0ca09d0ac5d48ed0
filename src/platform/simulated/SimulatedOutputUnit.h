#pragma once

#include <memory>

#include "audio/device/OutputUnit.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// The client's handle on a unit; its renderer does the work inside the device's cycle.
class SimulatedOutputUnit final : public OutputUnit {
 public:
  explicit SimulatedOutputUnit(std::shared_ptr<SimulatedWorld> world);
  ~SimulatedOutputUnit() override;

  std::uint64_t identifier() const override { return renderer_->settings.order; }
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
  OSStatus stop() override;
  OSStatus render(const AudioTimeStamp& time, std::uint32_t frames,
                  AudioBufferList buffers) noexcept SONMERE_NONBLOCKING override;

 private:
  // Changes a setting; at once in the running cycle when the unit is started.
  template <class Edit>
  OSStatus set(Operation operation, Edit&& edit);
  template <class Edit>
  OSStatus prepare(Operation operation, Edit&& edit);
  OSStatus checkSides() const;
  // The device is looked up under the world's lock: a restart of the service takes it away from any thread.
  auto boundDevice() const {
    return [this] { return renderer_->settings.device; };
  }

  std::shared_ptr<SimulatedWorld> world_;
  std::shared_ptr<UnitRenderer> renderer_;
};

}  // namespace sonmere
