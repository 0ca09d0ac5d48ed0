#pragma once

#include <cstdint>
#include <string>

namespace sonmere {

// "0:07", "12:34", "1:02:03"; with decimals "0:07.3". Seconds; a length can't be negative.
std::string lengthText(double seconds, int decimals = 0);

// "812 bytes", "2.3 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace sonmere
