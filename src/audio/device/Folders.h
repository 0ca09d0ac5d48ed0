#pragma once

#include <string>

namespace sonmere {

// Where the program keeps its files.
struct Folders {
  std::string applicationSupport;  // histories, health records
  std::string defaultRecordings;   // "~/Music/Sonmere Recordings"
};

}  // namespace sonmere
