#pragma once

#include <cstdint>
#include <string>

#include "base/Time.h"

namespace sonmere {

// A file that could not be written any further.
struct WriterFailure {
  std::string writer;        // "BusRecorder"
  std::string file;          // last path component
  std::string error;         // "{domain} {code}: {description}"
  std::int64_t atFrame = 0;  // frames written when it failed
  Date date{};
};

}  // namespace sonmere
