#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/device/DriverInstaller.h"

namespace sonmere {

// The virtual driver of this user's audio server. Threads: any that may wait.

std::unique_ptr<DriverInstaller> userDriver();

// What of it the running server has.
struct DriverDevices {
  bool serverAnswers = false;
  std::string reason;  // why not
  int devices = 0;     // of the ten, with both of their sides
};
DriverDevices driverDevices();

// Loads the devices into the running server, beside what plays there; they stay until the server ends, and
// the next one has them from the files. The error says why that can't be had.
Outcome<void> loadDriverDevices();
// Ends what loadDriverDevices began, and lets the session choose again where one of the devices was its
// default.
void unloadDriverDevices();

// What an administrator would type; ends the sound of all programs for a moment.
inline constexpr const char* kRestartAudio = "systemctl --user restart pipewire wireplumber pipewire-pulse";
Outcome<void> restartAudioServices();

}  // namespace sonmere
