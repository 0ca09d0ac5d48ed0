#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/engine/EngineContext.h"
#include "audio/engine/OutputRunner.h"
#include "audio/engine/RenderWatchdog.h"
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

  // Told when the unit must be made anew: its device's rate changed, the device died, or the unit no longer
  // renders. `delay` is how long to let the server settle before.
  std::function<void(Duration delay)> wantsRebuild;

  // Builds and starts the unit unless there is one. Nothing on success, else the message for the user.
  std::optional<std::string> build();
  // Hands the unit to the tear-down queue; does not wait.
  void teardown();
  bool isRunning() const { return runner_.isRunning(); }

  // Nothing renders while the machine sleeps; the next build watches again.
  void pauseWatchdog() { watchdog_.pause(); }

  // Publishes the taps to the render.
  void refreshSnapshot();
  void setMasterVolume(float volume);
  void setEqualiser(const AppEQSettings& settings);

  AudioDeviceID boundDevice() const { return runner_.device(); }
  // Nominal rate of the bound device in Hz, 48000 where it can't be read.
  double deviceRate() const;
  // None while no unit runs.
  std::shared_ptr<VolumeMixerOutputContext> context() const;

 private:
  OutputRunner::Plan plan();
  void publishTaps(VolumeMixerOutputContext& context);

  EngineContext& engine_;
  const Taps& taps_;
  float masterVolume_ = 1.0f;
  AppEQSettings equaliser_;
  OutputRunner runner_;
  RenderWatchdog watchdog_;
};

}  // namespace sonmere
