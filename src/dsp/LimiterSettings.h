#pragma once

namespace sonmere {

// The limiter of an app or of the microphone.
struct AppLimiterSettings {
  bool isEnabled = false;
  double ceilingDb = -1.0;  // dB full scale, -12 to 0 in the editor
  bool operator==(const AppLimiterSettings&) const = default;
};

// The limiter of a bus master.
struct MasterLimiterSettings {
  bool isEnabled = false;
  double ceilingDb = -1.0;  // dB full scale, -12 to 0 in the editor
  bool operator==(const MasterLimiterSettings&) const = default;
};

}  // namespace sonmere
