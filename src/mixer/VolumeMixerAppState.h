#pragma once

namespace sonmere {

// What the user set for one app.
struct VolumeMixerAppState {
  float volume = 1.0f;  // linear, 0 to 4.0
  bool isMuted = false;

  bool operator==(const VolumeMixerAppState&) const = default;
};

}  // namespace sonmere
