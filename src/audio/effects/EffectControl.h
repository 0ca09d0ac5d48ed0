#pragma once

#include <string>
#include <vector>

namespace sonmere {

// One value of an effect that a user sets.
struct EffectControl {
  struct Point {
    std::string label;
    float value = 0;
  };
  std::string symbol;  // names it within the effect
  std::string name;
  std::string unit;  // "dB"; empty for a bare number
  float minimum = 0;
  float maximum = 1;
  float initial = 0;
  bool isToggle = false;
  bool isInteger = false;
  bool isLogarithmic = false;
  std::vector<Point> points;  // values with names
};

}  // namespace sonmere
