#pragma once

#include <string_view>

#include "base/SettingsValue.h"

namespace sonmere {

// Levels of arrays and dictionaries in a settings file, the file itself being the first: deeper than any
// setting goes, and a bound for the recursion on foreign text.
inline constexpr int kMostSettingsLevels = 100;
// The levels of one value in it. A value with more could be written but never be read again.
inline constexpr int kMostValueLevels = kMostSettingsLevels - 1;

// How many levels the value has as JSON: 0 for a scalar, 1 for an array of scalars, and for data.
int levelsOf(const SettingsValue& value);
// Whether the text is JSON with more levels than a value may have.
bool isNestedTooDeeply(std::string_view json);

}  // namespace sonmere
