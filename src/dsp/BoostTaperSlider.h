#pragma once

#include <optional>
#include <string>

namespace sonmere {

// A volume slider that reaches above 100 %: three quarters of the track are 0 to 100 %, the last quarter 100
// % to the maximum. With a maximum of up to 1.001 it is linear over 0 to 1.
class BoostTaperSlider {
 public:
  float value = 1.0f;  // linear, 1.0 is 100 %
  float maxValue = 1.0f;
  std::string label;
  float trackInset = 0;
  std::optional<float> step;

  // The value at a track position from 0 to 1: snaps to 100 % nearby, then to the step.
  float valueAt(double position) const;
  // The track position of a value.
  double positionOf(float value) const;
};

}  // namespace sonmere
