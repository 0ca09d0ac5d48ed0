#pragma once

#include <string>

#include "app/ToneFerryApp.h"
#include "control/SystemAudioState.h"

namespace sonmere {

// What the system plays, on an output and on the bridge at once. Main thread; switching may block for a
// second and a half where the server needs to settle.
class SystemAudioControl {
 public:
  explicit SystemAudioControl(ToneFerryApp& app) : app_(app) {}

  SystemAudioState state() const;

  // On ends Mix Mode.
  Outcome<SystemAudioChange> setEnabled(bool enabled);
  // A device by identifier or name, or any part that fits no other. Ends the following.
  Outcome<SystemAudioChange> select(const std::string& device);
  Outcome<SystemAudioChange> setFollowing(bool follows);
  // Made anew; while it is off what an earlier run has left goes.
  Outcome<SystemAudioChange> reset();

 private:
  SystemAudioEngine& engine() const { return *app_.systemAudioEngine(); }

  ToneFerryApp& app_;
};

}  // namespace sonmere
