#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace sonmere {

// The pieces of audio that come with the program, and how the demo names and routes them.
struct DemoPiece {
  std::string id;
  std::string file;
  int bus = 0;
};

// The error says that the program's resources are not there.
Outcome<std::vector<DemoPiece>> demoPieces();

}  // namespace sonmere
