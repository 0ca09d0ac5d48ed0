#pragma once

#include <cstdint>
#include <string>

#include "audio/device/BusName.h"
#include "base/LengthText.h"
#include "base/PrintableText.h"

namespace sonmere {

// How the commands show values.

// The double of the fewest digits that mean the same float: 0.7f is printed as 0.7.
double shortest(float value);

}  // namespace sonmere
