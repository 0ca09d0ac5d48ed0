#pragma once

#include <string>
#include <vector>

#include "dsp/AppEQSettings.h"

namespace sonmere {

// Holds a value to its range; a note says so when it was outside. Not a number becomes the lower end.
double heldTo(const char* what, double value, double low, double high, const char* unit,
              std::vector<std::string>& notes);

// Every value of an equaliser held to its range.
AppEQSettings heldToRange(AppEQSettings settings, std::vector<std::string>& notes);
// A limiter's ceiling, -12 to 0 dB.
double heldCeiling(double ceilingDb, std::vector<std::string>& notes);
// A linear volume held to 0 up to the largest.
float heldVolume(float volume, float largest, std::vector<std::string>& notes);

}  // namespace sonmere
