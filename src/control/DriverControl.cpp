#include "control/DriverControl.h"

#include "control/ControlError.h"

namespace sonmere {

namespace {

void describe(DriverState& state) {
  if (state.isActive) {
    state.status = state.isAudioFlowing ? "Active • Audio Flowing" : "Installed • Idle";
    state.advice = state.isAudioFlowing ? "Audio is flowing through the bridge." : "";
  } else if (state.isInstalled) {
    state.status = "Installed • Not Loaded";
    state.advice = "The audio server hasn't loaded the driver. Click Repair to fix it.";
  } else {
    state.status = "Driver Not Installed";
    state.advice = "Install the driver to begin.";
  }
}

}  // namespace

DriverState DriverControl::state() const {
  const DriverManager& driver = app_.driverManager();
  DriverState state;
  state.isInstalled = *driver.isInstalled;
  state.isActive = *driver.isActive;
  state.isAudioFlowing = *driver.isAudioFlowing;
  state.sampleRate = *driver.selectedSampleRate;
  state.sampleRates.assign(DriverManager::kRates.begin(), DriverManager::kRates.end());
  state.problem = driver.pathWarning->value_or("");
  describe(state);
  return state;
}

DriverState DriverControl::refresh() {
  app_.driverManager().refreshStatus();
  return state();
}

Outcome<DriverState> DriverControl::setSampleRate(double rate) {
  if (app_.driverManager().setSampleRate(rate)) return state();
  return std::unexpected(controlError(ControlFault::badValue,
                                      "the devices run at 44100, 48000 or 96000 Hz, not at another rate"));
}

}  // namespace sonmere
