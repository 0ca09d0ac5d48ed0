#pragma once

#include <string>

#include "base/Error.h"
#include "dsp/AppEQSettings.h"

namespace sonmere {

// What is done with a value that is outside its range: refused with an error, or passed on for others to
// hold.
enum class RangeRule { refuse, pass };

inline constexpr const char* kEqualiserForm = "hp:HZ,bell:HZ:DB:Q,lp:HZ";

// "hp:HZ", "bell:HZ:DB:Q" and "lp:HZ", each at most once, with commas between. `argument` is how errors name
// it.
Outcome<AppEQSettings> readEqualiser(const std::string& argument, const std::string& text, RangeRule rule);

}  // namespace sonmere
