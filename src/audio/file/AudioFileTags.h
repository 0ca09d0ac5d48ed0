#pragma once

#include <string>

namespace sonmere {

// What a file says of itself, where its format can; UTF-8, empty: nothing.
struct AudioFileTags {
  std::string title;
  std::string date;  // "yyyy-MM-dd"
};

}  // namespace sonmere
