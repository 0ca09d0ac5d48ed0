#pragma once

#include "app/ToneFerryApp.h"
#include "control/MixerState.h"
#include "control/VolumeRequest.h"

namespace sonmere {

// Master volume, output equaliser and switches of the per-app volume. Main thread.
class MixerControl {
 public:
  explicit MixerControl(ToneFerryApp& app) : app_(app) {}

  MixerState state() const;
  Outcome<MixerChange> setEnabled(bool enabled);
  Outcome<MixerChange> setMaster(VolumeRequest request);
  Outcome<MixerChange> setOutputEqualiser(AppEQSettings settings);
  // Volumes above 100 %. Forbidding them lowers what is above.
  Outcome<MixerChange> setBoostAllowed(bool allowed);

 private:
  VolumeMixerEngine& mixer() const { return *app_.volumeMixerEngine(); }

  ToneFerryApp& app_;
};

}  // namespace sonmere
