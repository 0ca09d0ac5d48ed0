#pragma once

#include <string>

#include "base/Error.h"

namespace sonmere {

// Amounts as people write them. `argument` is how errors name it.

// Seconds of a length: "90s", "30m", "2h", "1h30m", or as readTime has it.
Outcome<double> readDuration(const std::string& argument, const std::string& text);

// Bytes of a size: "500MB", "2G", "1.5 GB"; a bare number is bytes. Units are thousands.
Outcome<double> readSize(const std::string& argument, const std::string& text);

}  // namespace sonmere
