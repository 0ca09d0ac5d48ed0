#pragma once

#include <string>

#include "base/Error.h"
#include "dsp/AppEQSettings.h"

namespace sonmere {

inline constexpr const char* kEqualiserForm = "hp:HZ,bell:HZ:DB:Q,lp:HZ";

// "hp:HZ", "bell:HZ:DB:Q" and "lp:HZ", each at most once, with commas between. Values beyond their ranges are
// passed on for others to hold. `argument` is how errors name it.
Outcome<AppEQSettings> readEqualiser(const std::string& argument, const std::string& text);

// The sections as they are typed, without those that change nothing; "flat" when none is left.
std::string equaliserSections(const AppEQSettings& settings);

// The curve as a graph in text: a line every 6 dB from +24 to -24, frequencies from 20 Hz to 20 kHz below.
// Ends with a line end.
std::string equaliserCurve(const AppEQSettings& settings);

}  // namespace sonmere
