#pragma once

#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/engine/EngineContext.h"
#include "audio/engine/PropertyListener.h"
#include "dsp/AppEQSettings.h"
#include "mixer/VolumeMixerOutputContext.h"

namespace sonmere {

// The one output unit of the mixer, bound to the default output device, and what watches over it. Main
// thread.
class VolumeMixerOutput {
 public:
  using Taps = std::map<std::string, std::shared_ptr<VolumeMixerTap>>;

  VolumeMixerOutput(EngineContext& context, const Taps& taps);
  // Waits for the tear-down of its units.
  ~VolumeMixerOutput();

  // Told when the unit must be made anew: the default output changed, the device's rate did, the device died,
  // or the unit no longer renders. `delay` is how long to let the server settle before.
  std::function<void(Duration delay)> wantsRebuild;
  // Told when the server came back with every object gone.
  std::function<void()> serviceRestarted;

  // Builds and starts the unit unless there is one. Nothing on success, else the message for the user.
  std::optional<std::string> build();
  // Hands the unit to the tear-down queue; does not wait.
  void teardown();
  bool isRunning() const { return unit_ != nullptr; }

  // Follow the default output device and the server while the mixer is on.
  void startListening();
  void stopListening();
  // Nothing renders while the machine sleeps; the next build watches again.
  void pauseWatchdog() { renderWatchdog_.cancel(); }

  // Publishes the taps to the render.
  void refreshSnapshot();
  void setMasterVolume(float volume);
  void setEqualiser(const AppEQSettings& settings);

  AudioDeviceID boundDevice() const { return boundDevice_; }
  // Nominal rate of the bound device in Hz, 48000 where it can't be read.
  double deviceRate() const;
  const std::shared_ptr<VolumeMixerOutputContext>& context() const { return context_; }

 private:
  struct Built {
    // In this order: the unit goes before what its callback works on.
    std::shared_ptr<VolumeMixerOutputContext> context;
    std::unique_ptr<OutputUnit> unit;
    AudioDeviceID device = kAudioObjectUnknown;
  };
  std::expected<Built, std::string> make();
  void publishTaps(VolumeMixerOutputContext& context);
  void listenToBoundDevice();
  void boundDeviceChanged();
  void defaultOutputChanged();
  void serverCameBack();
  void watch();
  void checkRender();
  void listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
              void (VolumeMixerOutput::*handler)());

  EngineContext& engine_;
  const Taps& taps_;
  RenderRetirement& retirement_;
  float masterVolume_ = 1.0f;
  AppEQSettings equaliser_;

  // In this order: the unit goes before what its callback works on.
  std::shared_ptr<VolumeMixerOutputContext> context_;
  std::unique_ptr<OutputUnit> unit_;
  AudioDeviceID boundDevice_ = kAudioObjectUnknown;
  PropertyListener boundRateListener_, boundAliveListener_;
  bool isListening_ = false;
  PropertyListener defaultOutputListener_, restartListener_;

  ScopedTask renderWatchdog_;
  std::uint64_t watchedRenderTime_ = 0;  // lastRenderHostTime at the latest look
  int consecutiveWatchdogRestarts_ = 0;
  std::uint64_t nextWatchdogRestartAt_ = 0;  // host time, ns
};

}  // namespace sonmere
