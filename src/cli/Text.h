#pragma once

#include <string>

namespace sonmere {

// How the commands show values.

// "Bridge", "Track 1".
std::string busName(int bus);

// The double of the fewest digits that mean the same float: 0.7f is printed as 0.7.
double shortest(float value);

}  // namespace sonmere
