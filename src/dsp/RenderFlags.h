#pragma once

#include "base/RTScalar.h"

namespace sonmere {

// Switches that every render path reads. One instance for the application; the main thread writes.
struct RenderFlags {
  RTScalar<bool> boostAllowed{true};           // volumes above 100 %
  RTScalar<bool> spectrumVisible{false};       // a spectrum is on screen
  RTScalar<bool> equaliserAvailable{false};    // an equaliser panel has a target
  RTScalar<bool> monitorsFollowVolume{false};  // Mix Mode ties monitors to the app's volume

  // The bridge plays the microphone on the left and its apps on the right.
  RTScalar<bool> dualMono{false};

  bool spectrumWanted() const noexcept { return spectrumVisible && equaliserAvailable; }
};

}  // namespace sonmere
