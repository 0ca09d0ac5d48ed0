#pragma once

#include <string>
#include <vector>

namespace sonmere {

// The virtual driver as the running program knows it.
struct DriverState {
  std::string status;  // "Installed • Idle"
  std::string advice;  // may be empty
  bool isInstalled = false;
  bool isActive = false;
  bool isAudioFlowing = false;
  double sampleRate = 0;            // Hz, the one that is picked
  std::vector<double> sampleRates;  // that can be
  std::string problem;              // why the driver can't be installed; may be empty
};

}  // namespace sonmere
