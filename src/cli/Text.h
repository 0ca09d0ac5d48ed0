#pragma once

#include <cstdint>
#include <string>

#include "audio/device/BusName.h"
#include "base/PrintableText.h"

namespace sonmere {

// How the commands show values.

// The double of the fewest digits that mean the same float: 0.7f is printed as 0.7.
double shortest(float value);

// "0:07", "12:34", "1:02:03"; with decimals "0:07.3". Seconds; a length can't be negative.
std::string lengthText(double seconds, int decimals = 0);

// "812 bytes", "2.3 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace sonmere
