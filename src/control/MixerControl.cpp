#include "control/MixerControl.h"

#include <cmath>

#include "control/ControlError.h"
#include "control/EffectLimits.h"
#include "control/KeptForLater.h"
#include "dsp/Boost.h"

namespace sonmere {

MixerState MixerControl::state() const {
  MixerState state;
  state.isEnabled = *mixer().isEnabled;
  state.masterVolume = *mixer().masterVolume;
  state.boostAllowed = app_.context().flags.boostAllowed;
  state.outputEqualiser = *mixer().outputEQSettings;
  AudioHardware& hardware = app_.context().platform.hardware();
  if (const AudioDeviceID device = mixer().boundOutputDevice(); device != kAudioObjectUnknown) {
    state.outputDevice = hardware.deviceUID(device).value_or("");
    state.sampleRate = mixer().outputSampleRate();
  }
  state.error = *mixer().errorMessage;
  return state;
}

Outcome<MixerChange> MixerControl::setEnabled(bool enabled) {
  if (!mixer().setEnabled(enabled))
    return std::unexpected(controlError(
        ControlFault::failed, mixer().errorMessage->value_or("the per-app volume could not be turned on")));
  MixerChange change{state(), {}};
  if (enabled && !change.mixer.isEnabled) change.notes.emplace_back(KeptForLater::kServerIsAbsent);
  return change;
}

Outcome<MixerChange> MixerControl::setMaster(VolumeRequest request) {
  if (!std::isfinite(request.value))
    return std::unexpected(controlError(ControlFault::badValue, "the volume is not a number"));
  MixerChange change;
  const float wanted = request.from(*mixer().masterVolume);
  mixer().setMasterVolume(
      heldVolume(wanted, maxMasterVolume(app_.context().flags.boostAllowed), change.notes));
  change.mixer = state();
  return change;
}

Outcome<MixerChange> MixerControl::setOutputEqualiser(AppEQSettings settings) {
  MixerChange change;
  mixer().setOutputEqualiser(heldToRange(settings, change.notes));
  change.mixer = state();
  return change;
}

Outcome<MixerChange> MixerControl::setBoostAllowed(bool allowed) {
  app_.appTapEngine()->setBoostAllowed(allowed);
  mixer().clampVolumesToLimit();
  return MixerChange{state(), {}};
}

}  // namespace sonmere
