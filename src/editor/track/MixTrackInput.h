#pragma once

#include <string>

#include "editor/track/TrimRange.h"

namespace sonmere {

// A track of a mix or a stem: a file and what is done to it.
struct MixTrackInput {
  std::string url;  // full path
  TrimRange range;
};

}  // namespace sonmere
