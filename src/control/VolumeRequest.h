#pragma once

#include <cmath>

namespace sonmere {

// A volume, or a step from the present one. Linear: 1.0 is 100 %.
struct VolumeRequest {
  enum class Kind { level, step, decibelStep };
  float value = 1;  // in dB for a step in decibels
  Kind kind = Kind::level;

  // What is asked for where the volume is `present`. Silence stays silent under a step in decibels.
  float from(float present) const {
    if (kind == Kind::level) return value;
    return kind == Kind::step ? present + value : present * std::pow(10.0f, value / 20);
  }
};

enum class SwitchRequest { off, on, toggle };

}  // namespace sonmere
