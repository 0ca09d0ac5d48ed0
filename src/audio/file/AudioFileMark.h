#pragma once

#include <cstdint>
#include <string>

namespace sonmere {

// A place in a file that somebody has marked.
struct AudioFileMark {
  std::int64_t frame = 0;
  std::string text;  // may be empty; UTF-8 where it comes from us

  bool operator==(const AudioFileMark&) const = default;
};

}  // namespace sonmere
