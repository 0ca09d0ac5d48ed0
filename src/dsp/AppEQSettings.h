#pragma once

namespace sonmere {

// One high-pass, one bell and one low-pass in series. No range is enforced here: the coefficients clamp.
struct AppEQSettings {
  bool isEnabled = false;
  double highPassFreq = 20;    // Hz, 20 to 2000 in the editor
  double lowPassFreq = 20000;  // Hz, 1000 to 20000
  double paraFreq = 1000;      // Hz, 20 to 20000
  double paraGain = 0;         // dB, -24 to +24
  double paraQ = 1.0;          // 0.1 to 10

  bool operator==(const AppEQSettings&) const = default;
};

}  // namespace sonmere
